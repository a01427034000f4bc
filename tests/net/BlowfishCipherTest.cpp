#include "net/BlowfishCipher.h"

#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <memory>
#include <random>
#include <span>
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

TEST(BlowfishCipher, AgreesWithAnotherImplementationOnAThousandRandomCases) {
  // In a context of its own: the process's has its default provider only as long as none is named.
  const std::unique_ptr<OSSL_LIB_CTX, decltype(&OSSL_LIB_CTX_free)> library(OSSL_LIB_CTX_new(), OSSL_LIB_CTX_free);
  const std::unique_ptr<OSSL_PROVIDER, decltype(&OSSL_PROVIDER_unload)> legacy(
      OSSL_PROVIDER_load(library.get(), "legacy"), OSSL_PROVIDER_unload);
  ASSERT_TRUE(legacy);
  const char* const ciphers[] = {"BF-ECB", "BF-CBC", "BF-CFB"};
  std::mt19937_64 random(1);
  for (int i = 0; i < 1000; ++i) {
    std::string key(1 + random() % 56, '\0'), plain(8 * (1 + random() % 40), '\0'), chain(8, '\0');
    for (std::string* text : {&key, &plain, &chain}) {
      for (char& byte : *text) byte = static_cast<char>(random());
    }
    const std::unique_ptr<EVP_CIPHER, decltype(&EVP_CIPHER_free)> kind(
        EVP_CIPHER_fetch(library.get(), ciphers[i % 3], nullptr), EVP_CIPHER_free);
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    std::string enciphered(plain.size(), '\0');
    int length = 0;
    EVP_EncryptInit_ex2(context.get(), kind.get(), nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_set_key_length(context.get(), static_cast<int>(key.size()));
    EVP_EncryptInit_ex2(context.get(), nullptr, bytes(key), bytes(chain), nullptr);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(enciphered.data()), &length, bytes(plain),
                      static_cast<int>(plain.size()));
    std::uint64_t block = 0;
    for (const std::uint8_t byte : std::span(bytes(chain), chain.size())) block = block << 8 | byte;
    ASSERT_EQ(decipher(i % 3, block, key, enciphered), plain) << "case " << i;
  }
}
