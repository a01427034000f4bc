#pragma once

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <memory>
#include <stdexcept>
#include <string>

/// `plain`, whole blocks of it, enciphered by the other implementation at hand. `cipher` is "BF-ECB", "BF-CBC" or
/// "BF-CFB"; `chainBlock` holds 8 bytes.
inline std::string encipher(const char* cipher, const std::string& key, const std::string& chainBlock,
                            const std::string& plain) {
  using Provider = std::unique_ptr<OSSL_PROVIDER, decltype(&OSSL_PROVIDER_unload)>;
  static const Provider legacy(OSSL_PROVIDER_load(nullptr, "legacy"), OSSL_PROVIDER_unload);
  const auto bytes = [](const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); };
  const std::unique_ptr<EVP_CIPHER, decltype(&EVP_CIPHER_free)> kind(EVP_CIPHER_fetch(nullptr, cipher, nullptr),
                                                                     EVP_CIPHER_free);
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                EVP_CIPHER_CTX_free);
  std::string enciphered(plain.size(), '\0');
  int length = 0;
  if (!legacy || !kind || !EVP_EncryptInit_ex2(context.get(), kind.get(), nullptr, nullptr, nullptr) ||
      !EVP_CIPHER_CTX_set_key_length(context.get(), static_cast<int>(key.size())) ||
      !EVP_EncryptInit_ex2(context.get(), nullptr, bytes(key), bytes(chainBlock), nullptr) ||
      !EVP_CIPHER_CTX_set_padding(context.get(), 0) ||
      !EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(enciphered.data()), &length, bytes(plain),
                         static_cast<int>(plain.size()))) {
    throw std::runtime_error("no Blowfish to compare with");
  }
  return enciphered;
}
