#include "net/BlowfishCipher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>

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

template <class Action>
std::string messageOf(Action action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

}  // namespace

TEST(BlowfishCipher, DeciphersThePublishedVectors) {
  const std::uint64_t vectors[][3] = {
      {0x0000000000000000, 0x0000000000000000, 0x4EF997456198DD78},
      {0xFFFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF, 0x51866FD5B85ECB8A},
      {0x3000000000000000, 0x1000000000000001, 0x7D856F9A613063F2},
      {0x0123456789ABCDEF, 0x1111111111111111, 0x61F9C3802281B096},
      {0xFEDCBA9876543210, 0x0123456789ABCDEF, 0x0ACEAB0FC6A0A28D},
      {0x7CA110454A1A6E57, 0x01A1D6D039776742, 0x59C68245EB05282B},
      {0x1C587F1C13924FEF, 0x305532286D6F295A, 0x55CB3774D13EF201},
      {0xE0FEE0FEF1FEF1FE, 0x0123456789ABCDEF, 0xC39E072D9FAC631D},
      {0xFEDCBA9876543210, 0xFFFFFFFFFFFFFFFF, 0x6B5C5A9C5D9E0A5A},
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
  EXPECT_NE(decipher(std::string(55, 'k') + "l", text), decipher(std::string(56, 'k'), text));
}

TEST(BlowfishCipher, RefusesNoKeyAndPartsOfBlocks) {
  EXPECT_EQ(messageOf([] { decipher("", "8 bytes."); }), "Incorrect key length");
  for (std::size_t length : {0, 7, 12}) {
    std::string output(12, '-');
    const BlowfishCipher cipher(bytes("key"), 3, {});
    const std::string input(length, 'x');
    auto* const target = reinterpret_cast<std::uint8_t*>(output.data());
    EXPECT_EQ(messageOf([&] { cipher.Decipher(bytes(input), target, length, 0); }), "Incorrect buffer length");
    EXPECT_EQ(output, "------------");
  }
}
