#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Deciphers what was enciphered with Blowfish: 64-bit blocks, 16 rounds, keys of 1 to 56 bytes.
///
///     const BlowfishCipher cipher(key, keyLength, {});
///     cipher.Decipher(input, output, length, BlowfishCipher::ElectronicCodebook);
///
/// A cipher does not change once it is built; any thread may use it.
class BlowfishCipher {
 public:
  struct Block {
    std::uint32_t left = 0;   ///< the first four bytes, the most significant first
    std::uint32_t right = 0;  ///< the last four
  };

  enum Mode : std::int32_t { ElectronicCodebook, CipherBlockChaining, CipherFeedback64 };

  /// Derives the subkeys from the first 56 of `keyLength` bytes at `key`. `chainBlock` is what the first block of every
  /// chained text is chained to. Throws std::runtime_error("Incorrect key length") if there are none.
  BlowfishCipher(const std::uint8_t* key, std::uint32_t keyLength, Block chainBlock);
  virtual ~BlowfishCipher();

  /// Deciphers `length` bytes at `input` into `output`, which must not overlap. Every call starts a text of its own.
  /// `mode` is a Mode; others are ElectronicCodebook. Throws std::runtime_error("Incorrect buffer length") before it
  /// writes anything if `length` is 0 or no multiple of 8.
  void Decipher(const std::uint8_t* input, std::uint8_t* output, std::size_t length, std::int32_t mode) const;

 private:
  std::uint32_t mix(std::uint32_t half) const;
  Block encipherBlock(Block block) const;
  Block decipherBlock(Block block) const;

  Block chainBlock_;
  std::array<std::uint32_t, 18> subkeys_;
  std::array<std::array<std::uint32_t, 256>, 4> boxes_;
};
