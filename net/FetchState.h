#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "net/FetchSession.h"
#include "net/ProxySettings.h"
#include "platform/ModuleObject.h"
#include "platform/ModuleReference.h"

class HTTPFetchSubscriber;

namespace quillmoria {

/// What all requests of the process go over, and what they are to tell the proxy.
struct SharedSession {
  ProxySettings proxy;
  std::unique_ptr<FetchSession> session;
};

/// What all fetches of the process share.
struct FetchState {
  /// Releases the session once no fetch is at it, and all else that is held.
  void close();

  std::mutex mutex;  ///< guards the five below; never held over I/O or while other code is called
  std::string requestVerb;
  std::string baseFolder;
  std::vector<HTTPFetchSubscriber*> subscribers;
  int calls = 0;           ///< FetchCalls that are under way
  ModuleReference module;  ///< what they and those that have ended keep

  std::mutex setUpMutex;  ///< guards the one below; held while the settings file is read, so that it is read once
  std::shared_ptr<const SharedSession> session;
};

extern ModuleObject<FetchState> fetchState;

}  // namespace quillmoria
