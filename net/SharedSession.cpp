#include "net/SharedSession.h"

#include <utility>

#include "platform/InternetQueryOption.h"

namespace quillmoria {
namespace {

constexpr std::pair<std::uint32_t, std::uint32_t> kSessionOptions[] = {
    {INTERNET_OPTION_CONNECT_TIMEOUT, 30 * 1000},
    {INTERNET_OPTION_CONNECT_BACKOFF, 1000},
    {INTERNET_OPTION_CONNECT_RETRIES, 1},
};

SystemProxy proxyOf(const ProxySettings& settings) {
  switch (settings.type) {
    case INTERNET_OPEN_TYPE_PRECONFIG:
      return InternetQueryProxy().value_or(SystemProxy{});
    case INTERNET_OPEN_TYPE_PROXY:
      return {settings.server + ":" + std::to_string(settings.port), ""};
    default:
      return {};
  }
}

}  // namespace

void SharedSession::identifyToProxy(CHttpFile& request) const {
  if (proxy.type != INTERNET_OPEN_TYPE_PROXY || proxy.userName.empty()) return;
  request.SetOption(INTERNET_OPTION_PROXY_USERNAME, proxy.userName);
  request.SetOption(INTERNET_OPTION_PROXY_PASSWORD, proxy.password);
}

std::shared_ptr<SharedSession> makeSession(const char* agent, const std::string& baseFolder) {
  auto shared = std::make_shared<SharedSession>();
  shared->proxy = LoadProxySettings(baseFolder);
  SystemProxy system = proxyOf(shared->proxy);
  shared->session =
      std::make_unique<FetchSession>(agent, shared->proxy.type, std::move(system.name), std::move(system.bypass));
  for (const auto& [option, value] : kSessionOptions) shared->session->SetOption(option, value);
  return shared;
}

}  // namespace quillmoria
