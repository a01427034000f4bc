#define OPENSSL_SUPPRESS_DEPRECATED  // what OpenSSL has in their place allocates, and fails for good if that fails once

#include "platform/Digest.h"

#include <openssl/sha.h>

#include <bit>
#include <cstring>

namespace quillmoria {

std::string sha256(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256_CTX context;
  SHA256_Init(&context);
  SHA256_Update(&context, bytes.data(), bytes.size());
  SHA256_Final(digest, &context);
  std::string hexadecimal;
  for (const unsigned char byte : digest) hexadecimal += {kDigits[byte >> 4], kDigits[byte & 15]};
  return hexadecimal;
}

std::int64_t digestOf(std::span<const std::string_view> parts) {
  static_assert(std::endian::native == std::endian::little, "what is kept is the same everywhere");
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256_CTX context;
  SHA256_Init(&context);
  for (const std::string_view part : parts) {
    const std::uint64_t bytes = part.size();
    SHA256_Update(&context, &bytes, sizeof bytes);
    SHA256_Update(&context, part.data(), part.size());
  }
  SHA256_Final(digest, &context);
  std::int64_t number = 0;
  std::memcpy(&number, digest, sizeof number);
  return number;
}

}  // namespace quillmoria
