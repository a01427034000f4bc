#include "net/ProxySettings.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "net/BlowfishCipher.h"
#include "net/SettingsFile.h"
#include "platform/CInternetException.h"
#include "platform/Text.h"

namespace {

constexpr char kSettingsFile[] = "\\config\\quillmoria.ini";
constexpr char kSection[] = "Proxy";
constexpr char kNotReadable[] = "The settings file cannot be read";
// Compatibility.
constexpr std::string_view kCredentialsKey = "pqmz47105962whetcvrnTLUWQGHa3ZKVRKT";
constexpr std::string_view kNameEnd = "~~";
constexpr char kPasswordEnd = '`';
constexpr std::size_t kBlockBytes = 8;
constexpr std::size_t kMaxCredentialBytes = 500;

// Compatibility.
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

/// Deciphers the whole blocks of `bytes` under as many bytes of `keyText` as there are, or all of it.
/// Compatibility.
std::string decipher(const std::vector<std::uint8_t>& bytes, std::string_view keyText) {
  const std::size_t keyLength = std::min(bytes.size(), keyText.size());
  const BlowfishCipher cipher(reinterpret_cast<const std::uint8_t*>(keyText.data()),
                              static_cast<std::uint32_t>(keyLength), {});
  std::string plain(bytes.size(), '\0');
  cipher.Decipher(bytes.data(), reinterpret_cast<std::uint8_t*>(plain.data()), plain.size(),
                  BlowfishCipher::ElectronicCodebook);
  return plain;
}

}  // namespace

ProxySettings LoadProxySettings(const std::string& baseFolder) try {
  const SettingsFile file(baseFolder + kSettingsFile);
  if (!file.isReadable()) throw CInternetException(kNotReadable);
  ProxySettings proxy;
  // Compatibility.
  proxy.type = quillmoria::toInt32(file.GetValue(kSection, "Type", "1"));
  proxy.server = file.GetValue(kSection, "Server", "");
  proxy.port = quillmoria::toInt32(file.GetValue(kSection, "Port", "80"));
  const std::string credentials = file.GetValue(kSection, "Credentials", "");
  if (credentials.empty()) return proxy;
  auto [userName, password] = DecodeCredentials(credentials, kCredentialsKey);
  proxy.userName = std::move(userName);
  proxy.password = std::move(password);
  return proxy;
} catch (const std::bad_alloc&) {
  // A proxy that the file may name is not passed by: want of memory has the outcome of any failed fetch, and so has
  // that of descriptors, for which the file is not readable.
  throw CInternetException(kNotReadable);
}

std::array<std::string, 2> DecodeCredentials(std::string_view hexText, std::string_view keyText) {
  const std::size_t count = hexText.size() / 2;  // Compatibility.
  if (count % kBlockBytes != 0 || count > kMaxCredentialBytes) return {};
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = HexPairToByte(hexText[2 * i], hexText[2 * i + 1]);

  const std::string plain = decipher(bytes, keyText);
  const std::size_t nameEnd = plain.find(kNameEnd);
  if (nameEnd == std::string::npos) return {plain, ""};
  const std::size_t passwordStart = nameEnd + kNameEnd.size();
  return {plain.substr(0, nameEnd),
          plain.substr(passwordStart, plain.find(kPasswordEnd, passwordStart) - passwordStart)};
}

std::uint8_t HexPairToByte(char first, char second) {
  std::size_t value = 0;
  for (char c : {first, second}) {
    const std::size_t digit = kHexDigits.find(c);
    if (digit == std::string_view::npos) break;
    value = value * 16 + digit;
  }
  return static_cast<std::uint8_t>(value);
}
