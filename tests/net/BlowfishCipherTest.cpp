#include "net/BlowfishCipher.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/Table.h"

namespace {

const std::uint8_t* bytes(const std::string& text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }

/// The plain text or the error text.
std::string decipher(std::int32_t mode, std::uint64_t chain, const std::string& key, const std::string& text) try {
  const BlowfishCipher::Block block{static_cast<std::uint32_t>(chain >> 32), static_cast<std::uint32_t>(chain)};
  const BlowfishCipher cipher(bytes(key), static_cast<std::uint32_t>(key.size()), block);
  std::string plain(text.size(), '\0');
  cipher.Decipher(bytes(text), reinterpret_cast<std::uint8_t*>(plain.data()), text.size(), mode);
  return plain;
} catch (const std::runtime_error& error) {
  return error.what();
}

}  // namespace

TEST(BlowfishCipher, DeciphersWholeBlocksInEveryModeUnderKeysOfAnyLength) {
  for (const auto& [mode, chain, key, text, plain] : readTable<5>("net/blowfish.tsv")) {
    EXPECT_EQ(decipher(std::stoi(mode), std::stoull(chain, nullptr, 16), key, text), plain)
        << "a key of " << key.size();
  }
}
