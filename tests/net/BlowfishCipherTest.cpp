#include "net/BlowfishCipher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include "net/OpenSslBlowfish.h"

namespace {

const std::uint8_t* bytes(const std::string& text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }

std::string decipher(const std::string& key, const std::string& text, std::int32_t mode = 0,
                     BlowfishCipher::Block chainBlock = {}) {
  const BlowfishCipher cipher(bytes(key), static_cast<std::uint32_t>(key.size()), chainBlock);
  std::string plain(text.size(), '\0');
  cipher.Decipher(bytes(text), reinterpret_cast<std::uint8_t*>(plain.data()), text.size(), mode);
  return plain;
}

std::string eightBytes(std::uint64_t value) {
  std::string text;
  for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
  return text;
}

}  // namespace

TEST(BlowfishCipher, DeciphersThePublishedVectors) {
  const std::uint64_t vectors[][3] = {
      {0x3000000000000000, 0x1000000000000001, 0x7D856F9A613063F2},
      {0x1C587F1C13924FEF, 0x305532286D6F295A, 0x55CB3774D13EF201},
  };
  for (const auto& [key, plain, enciphered] : vectors) {
    EXPECT_EQ(decipher(eightBytes(key), eightBytes(enciphered)), eightBytes(plain)) << std::hex << key;
  }
}

TEST(BlowfishCipher, UndoesAnotherImplementationInEveryMode) {
  const char* const ciphers[] = {"BF-ECB", "BF-CBC", "BF-CFB", "BF-ECB"};  // the last for a mode that has no name
  std::mt19937 random(1);
  const auto randomText = [&](std::size_t size) {
    std::string text(size, '\0');
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>(random()); });
    return text;
  };
  for (int i = 0; i < 1000; ++i) {
    const std::string key = randomText(1 + random() % 56);
    const std::string plain = randomText(8 * (1 + random() % 40));
    const BlowfishCipher::Block chain{static_cast<std::uint32_t>(random()), static_cast<std::uint32_t>(random())};
    const std::string chainBlock = eightBytes(std::uint64_t{chain.left} << 32 | chain.right);
    const int mode = i % 4;
    const std::string enciphered = encipher(ciphers[mode], key, chainBlock, plain);
    ASSERT_EQ(decipher(key, enciphered, mode, chain), plain) << "case " << i << ", key of " << key.size() << " bytes";
  }
}

TEST(BlowfishCipher, ReadsNoMoreThan56BytesOfTheKey) {
  const std::string text = "16 bytes of text";
  EXPECT_EQ(decipher(std::string(56, 'k') + "ignored", text), decipher(std::string(56, 'k'), text));
}

TEST(BlowfishCipher, RefusesNoKeyAndPartsOfBlocks) {
  const std::pair<std::string, std::string> cases[] = {{"", "8 bytes."}, {"key", ""}, {"key", "twelve bytes"}};
  for (const auto& [key, text] : cases) {
    try {
      decipher(key, text);
      ADD_FAILURE() << key << " " << text;
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), key.empty() ? "Incorrect key length" : "Incorrect buffer length");
    }
  }
}
