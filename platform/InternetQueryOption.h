#pragma once

#include <cstdint>
#include <optional>
#include <string>

inline constexpr std::uint32_t INTERNET_STATE_CONNECTED = 1;
inline constexpr std::uint32_t INTERNET_STATE_DISCONNECTED = 2;

/// The flags of the system's connected state, or nothing if the query failed. The host's word (SetConnectedState) comes
/// first, then QUILLMORIA_OFFLINE=1 or 0 in the environment, then the interfaces: disconnected when none but loopback
/// is up, running and has an address. Asked anew at each call. Any thread.
std::optional<std::uint32_t> InternetQueryConnectedState();

/// The system's proxy settings.
struct SystemProxy {
  std::string name;    ///< one address for all schemes, or "http=… https=…"; may be empty
  std::string bypass;  ///< hosts that are reached directly, separated by commas; may be empty
};

/// The proxy that the environment names (http_proxy, https_proxy, all_proxy, no_proxy), or nothing if it names none.
std::optional<SystemProxy> InternetQueryProxy();
