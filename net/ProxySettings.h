#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

/// How the process reaches the network, as section "Proxy" of the settings file has it.
///
///     const ProxySettings proxy = LoadProxySettings(baseFolder);
///     if (proxy.type == 3) connectThrough(proxy.server, proxy.port);
///
/// A plain value.
struct ProxySettings {
  std::int32_t type = 0;  ///< access type: 0 the system's configuration, 1 direct, 3 the proxy named here
  std::string server;
  std::int32_t port = 0;
  std::string userName;  ///< empty: the proxy is given no credentials
  std::string password;
};

/// Reads the settings file below `baseFolder`. What it does not say holds a default: a direct connection, port 80, no
/// credentials; so it is without a file. Throws CInternetException if the file is there and cannot be read, or if
/// memory or descriptors lack; and what BlowfishCipher throws when the credentials cannot be a ciphertext. Any thread.
ProxySettings LoadProxySettings(const std::string& baseFolder);

/// User name and password from `hexText`, upper-case hexadecimal digits of the text "user~~password`" enciphered under
/// the first bytes of `keyText`, as many as there are enciphered bytes. Both are empty if the bytes do not make up
/// whole blocks or are above 500; the password is empty if there is no "~~". A wrong key is not noticed. Throws
/// std::runtime_error for fewer than two digits.
std::array<std::string, 2> DecodeCredentials(std::string_view hexText, std::string_view keyText);

/// The byte that two upper-case hexadecimal digits stand for; another character ends the reading with the value so far.
std::uint8_t HexPairToByte(char first, char second);
