#pragma once

#include <memory>
#include <string>
#include <vector>

#include "net/SharedSession.h"
#include "platform/ModuleObject.h"
#include "platform/ModuleReference.h"
#include "platform/Mutex.h"

class HTTPFetchSubscriber;

namespace quillmoria {

/// What all fetches of the process share.
struct FetchState {
  /// Releases the session once no fetch is at it, and all else that is held.
  void close();

  Mutex mutex;  ///< never held over I/O or while other code is called
  std::string requestVerb GUARDED_BY(mutex);
  std::string baseFolder GUARDED_BY(mutex);
  std::vector<HTTPFetchSubscriber*> subscribers GUARDED_BY(mutex);
  int calls GUARDED_BY(mutex) = 0;           ///< FetchCalls that are under way
  ModuleReference module GUARDED_BY(mutex);  ///< what they and those that have ended keep

  Mutex setUpMutex;  ///< held while the settings file is read, so that it is read once
  std::shared_ptr<const SharedSession> session GUARDED_BY(setUpMutex);
};

extern ModuleObject<FetchState> fetchState;

}  // namespace quillmoria
