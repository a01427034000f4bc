#include <stdexcept>

#include "Fuzzing.h"
#include "net/ProxySettings.h"
#include "platform/CInternetException.h"

/// A settings file with its enciphered credentials.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMaxCredentialBytes = 500;
  baseFolder().write("config/quillmoria.ini", textOf(data, size));
  try {
    const ProxySettings proxy = LoadProxySettings(baseFolder().name());
    require(proxy.userName.size() + proxy.password.size() <= kMaxCredentialBytes);
  } catch (const CInternetException&) {
    // Above 1 MiB.
  } catch (const std::runtime_error&) {
    // Fewer than two digits are no ciphertext.
  }
  return 0;
}
