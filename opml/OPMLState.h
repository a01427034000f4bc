#pragma once

#include <mutex>
#include <string>

#include "platform/ModuleObject.h"

namespace quillmoria {

/// What all subscription list parsers of the process share.
struct OPMLState {
  void close() {
    const std::lock_guard lock(mutex);
    std::string().swap(lastListURL);
  }

  std::mutex mutex;
  std::string lastListURL;  ///< guarded by mutex; given to ParseFromURL most recently, by any parser
};

extern ModuleObject<OPMLState> opmlState;

}  // namespace quillmoria
