#include "net/BlowfishCipher.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "net/BlowfishTables.h"

namespace {

using Block = BlowfishCipher::Block;

constexpr std::uint32_t kMaxKeyLength = 56;
constexpr std::size_t kBlockBytes = 8;
constexpr std::size_t kRounds = 16;

std::uint32_t readWord(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void writeWord(std::uint8_t* bytes, std::uint32_t word) {
  for (int shift = 24; shift >= 0; shift -= 8) *bytes++ = static_cast<std::uint8_t>(word >> shift);
}

Block readBlock(const std::uint8_t* bytes) { return {readWord(bytes), readWord(bytes + 4)}; }

void writeBlock(std::uint8_t* bytes, Block block) {
  writeWord(bytes, block.left);
  writeWord(bytes + 4, block.right);
}

Block operator^(Block a, Block b) { return {a.left ^ b.left, a.right ^ b.right}; }

}  // namespace

BlowfishCipher::BlowfishCipher(const std::uint8_t* key, std::uint32_t keyLength, Block chainBlock)
    : chainBlock_(chainBlock), subkeys_(quillmoria::kInitialSubkeys), boxes_(quillmoria::kInitialBoxes) {
  if (keyLength == 0) throw std::runtime_error("Incorrect key length");
  keyLength = std::min(keyLength, kMaxKeyLength);  // Compatibility.

  std::uint32_t next = 0;
  for (std::uint32_t& subkey : subkeys_) {
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i, next = (next + 1) % keyLength) word = word << 8 | key[next];
    subkey ^= word;
  }

  Block chain;
  const auto replace = [&](auto& words) {
    for (std::size_t i = 0; i < words.size(); i += 2) {
      chain = encipherBlock(chain);
      words[i] = chain.left;
      words[i + 1] = chain.right;
    }
  };
  replace(subkeys_);
  for (auto& box : boxes_) replace(box);
}

BlowfishCipher::~BlowfishCipher() = default;

void BlowfishCipher::Decipher(const std::uint8_t* input, std::uint8_t* output, std::size_t length,
                              std::int32_t mode) const {
  if (length == 0 || length % kBlockBytes != 0) throw std::runtime_error("Incorrect buffer length");
  Block previous = chainBlock_;
  for (const std::uint8_t* end = input + length; input != end; input += kBlockBytes, output += kBlockBytes) {
    const Block block = readBlock(input);
    switch (mode) {
      case CipherBlockChaining:
        writeBlock(output, decipherBlock(block) ^ previous);
        break;
      case CipherFeedback64:
        writeBlock(output, block ^ encipherBlock(previous));
        break;
      default:  // Compatibility.
        writeBlock(output, decipherBlock(block));
    }
    previous = block;
  }
}

std::uint32_t BlowfishCipher::mix(std::uint32_t half) const {
  return ((boxes_[0][half >> 24] + boxes_[1][half >> 16 & 255]) ^ boxes_[2][half >> 8 & 255]) + boxes_[3][half & 255];
}

BlowfishCipher::Block BlowfishCipher::encipherBlock(Block block) const {
  for (std::size_t round = 0; round < kRounds; ++round) {
    block.left ^= subkeys_[round];
    block.right ^= mix(block.left);
    std::swap(block.left, block.right);
  }
  return {block.right ^ subkeys_[kRounds + 1], block.left ^ subkeys_[kRounds]};
}

BlowfishCipher::Block BlowfishCipher::decipherBlock(Block block) const {
  for (std::size_t round = kRounds + 1; round > 1; --round) {
    block.left ^= subkeys_[round];
    block.right ^= mix(block.left);
    std::swap(block.left, block.right);
  }
  return {block.right ^ subkeys_[0], block.left ^ subkeys_[1]};
}
