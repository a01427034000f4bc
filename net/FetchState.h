#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "net/FetchSession.h"
#include "net/ProxySettings.h"
#include "platform/ModuleObject.h"

class HTTPFetchSubscriber;

namespace quillmoria {

/// What all fetches of the process share.
struct FetchState {
  std::mutex mutex;  ///< guards the three below; never held over I/O or while other code is called
  std::string requestVerb;
  std::string baseFolder;
  std::vector<HTTPFetchSubscriber*> subscribers;

  std::mutex setUpMutex;  ///< guards the two below until the session is there; from then on they stay as they are
  std::unique_ptr<FetchSession> session;
  ProxySettings proxy;
};

extern ModuleObject<FetchState> fetchState;

}  // namespace quillmoria
