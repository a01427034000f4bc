#include "platform/Digest.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cstddef>
#include <new>

#include "platform/curl/Libcurl.h"

namespace quillmoria {

std::string sha256(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  const Libcurl::Stay stay = libcurl.enterOrThrow();
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1 ||
      EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  std::string hexadecimal;
  for (unsigned int i = 0; i < size; ++i) hexadecimal += {kDigits[digest[i] >> 4], kDigits[digest[i] & 15]};
  return hexadecimal;
}

}  // namespace quillmoria
