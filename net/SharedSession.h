#pragma once

#include <memory>
#include <string>

#include "net/FetchSession.h"
#include "net/ProxySettings.h"

namespace quillmoria {

/// What requests go over, and what they are to tell the proxy.
struct SharedSession {
  ProxySettings proxy;
  std::unique_ptr<FetchSession> session;

  /// Gives `request` the credentials for the proxy, if there are any.
  void identifyToProxy(CHttpFile& request) const;
};

/// A session for `agent` through the proxy that the settings file below `baseFolder` names. Throws what
/// LoadProxySettings throws.
std::shared_ptr<SharedSession> makeSession(const char* agent, const std::string& baseFolder);

}  // namespace quillmoria
