#define OPENSSL_SUPPRESS_DEPRECATED  // what OpenSSL has in their place allocates, and fails for good if that fails once

#include "platform/Digest.h"

#include <openssl/sha.h>

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

}  // namespace quillmoria
