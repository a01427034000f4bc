#pragma once

#include <string>

#include "platform/ModuleObject.h"
#include "platform/Mutex.h"

namespace quillmoria {

/// What all subscription list parsers of the process share.
struct OPMLState {
  void close() {
    const MutexLock lock(mutex);
    std::string().swap(lastListURL);
  }

  Mutex mutex;
  std::string lastListURL GUARDED_BY(mutex);  ///< given to ParseFromURL most recently, by any parser
};

extern ModuleObject<OPMLState> opmlState;

}  // namespace quillmoria
