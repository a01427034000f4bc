#include "quillmoria/ConnectedState.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/InternetQueryOption.h"

namespace {

constinit std::atomic<ConnectedState> hostsWord{ConnectedState::Automatic};

std::uint32_t flagOf(bool isConnected) { return isConnected ? INTERNET_STATE_CONNECTED : INTERNET_STATE_DISCONNECTED; }

bool leadsToOthers(const ifaddrs& interface) {
  constexpr unsigned kUsable = IFF_UP | IFF_RUNNING;
  return (interface.ifa_flags & (kUsable | IFF_LOOPBACK)) == kUsable && interface.ifa_addr &&
         (interface.ifa_addr->sa_family == AF_INET || interface.ifa_addr->sa_family == AF_INET6);
}

std::optional<std::uint32_t> stateOfInterfaces() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return std::nullopt;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
  for (const ifaddrs* interface = first; interface; interface = interface->ifa_next) {
    if (leadsToOthers(*interface)) return flagOf(true);
  }
  return flagOf(false);
}

}  // namespace

void SetConnectedState(ConnectedState state) { hostsWord = state; }

std::optional<std::uint32_t> InternetQueryConnectedState() {
  if (const ConnectedState word = hostsWord; word != ConnectedState::Automatic) {
    return flagOf(word == ConnectedState::Connected);
  }
  const char* variable = std::getenv("QUILLMORIA_OFFLINE");
  const std::string_view offline = variable ? variable : "";
  if (offline == "0" || offline == "1") return flagOf(offline == "0");
  return stateOfInterfaces();
}
