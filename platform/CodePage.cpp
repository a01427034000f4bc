#include "platform/CodePage.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quillmoria {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::ptrdiff_t kMaxSequence = 4;

static_assert(std::endian::native == std::endian::little, "the first byte of a word is in its lowest bits");
using Bytes [[gnu::vector_size(8)]] = std::uint8_t;
using Units [[gnu::vector_size(16)]] = std::uint16_t;

constexpr bool isAscii(char byte) { return static_cast<unsigned char>(byte) < 0x80; }
constexpr bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }
constexpr bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

/// How a sequence goes on after its lead byte: how many bytes follow and what the first of them may be.
struct Lead {
  int following;
  unsigned char lowest;
  unsigned char highest;
};

/// The narrower ranges keep out overlong forms, surrogates and code points above U+10FFFF.
constexpr Lead leadOf(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF};
  return {0, 0, 0};
}

/// Reads the sequence at `in`, which is not ASCII, and moves past it; a broken one is passed as far as it is sound.
char32_t readSequence(const char*& in, const char* end) {
  const auto byteAt = [](const char* at) { return static_cast<unsigned char>(*at); };
  const unsigned char first = byteAt(in++);
  const Lead lead = leadOf(first);
  if (lead.following == 0 || in == end || byteAt(in) < lead.lowest || byteAt(in) > lead.highest) return kReplacement;

  char32_t point = first & (0x3Fu >> lead.following);
  for (int i = 0; i < lead.following; ++i) {
    if (in == end || !isContinuation(byteAt(in))) return kReplacement;
    point = point << 6 | (byteAt(in++) & 0x3Fu);
  }
  return point;
}

char16_t* writeUtf16(char16_t* out, char32_t point) {
  if (point < 0x10000) {
    *out++ = static_cast<char16_t>(point);
    return out;
  }
  *out++ = static_cast<char16_t>(0xD7C0 + (point >> 10));
  *out++ = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
  return out;
}

/// Writes the ASCII that `in` begins with, eight bytes at a time, and moves past what it wrote. May leave up to seven,
/// and writes without harm up to seven units more than it says.
char16_t* widenAsciiBlocks(const char*& in, const char* end, char16_t* out) {
  constexpr std::uint64_t kNotAscii = 0x8080808080808080;
  while (end - in >= 8) {
    Bytes bytes;
    std::memcpy(&bytes, in, sizeof bytes);
    const Units units = __builtin_convertvector(bytes, Units);
    std::memcpy(out, &units, sizeof units);
    const std::uint64_t others = std::bit_cast<std::uint64_t>(bytes) & kNotAscii;
    const int ascii = std::countr_zero(others) / 8;
    in += ascii;
    out += ascii;
    if (others) break;
  }
  return out;
}

/// Writes the sequence at `in` and moves past it. What most text is made of goes the short ways.
char16_t* widenSequence(const char*& in, const char* end, char16_t* out) {
  const auto byteAt = [&](std::ptrdiff_t at) { return static_cast<unsigned char>(in[at]); };
  const unsigned first = byteAt(0);
  if (first >= 0xC2 && first <= 0xDF && end - in >= 2 && isContinuation(byteAt(1))) {
    *out++ = static_cast<char16_t>((first & 0x1Fu) << 6 | (byteAt(1) & 0x3Fu));
    in += 2;
    return out;
  }
  if (first >= 0xE1 && first <= 0xEC && end - in >= 3 && isContinuation(byteAt(1)) && isContinuation(byteAt(2))) {
    *out++ = static_cast<char16_t>((first & 0xFu) << 12 | (byteAt(1) & 0x3Fu) << 6 | (byteAt(2) & 0x3Fu));
    in += 3;
    return out;
  }
  return writeUtf16(out, readSequence(in, end));
}

/// Writes the sequences that begin before `stop`, which may end as far as `end`, and moves past them.
char16_t* widen(const char*& in, const char* stop, const char* end, char16_t* out) {
  while (in < stop) {
    out = widenAsciiBlocks(in, stop, out);
    for (; in < stop && isAscii(*in); ++in) *out++ = static_cast<unsigned char>(*in);
    while (in < stop && !isAscii(*in)) out = widenSequence(in, end, out);
  }
  return out;
}

/// Writes the ASCII that `in` begins with, eight units at a time, and moves past what it wrote. May leave up to seven,
/// and writes without harm up to seven bytes more than it says.
char* narrowAsciiBlocks(const char16_t*& in, const char16_t* end, char* out) {
  constexpr std::uint64_t kNotAscii = 0xFF80FF80FF80FF80;
  while (end - in >= 8) {
    Units units;
    std::memcpy(&units, in, sizeof units);
    const Bytes bytes = __builtin_convertvector(units, Bytes);
    std::memcpy(out, &bytes, sizeof bytes);
    std::uint64_t halves[2];
    std::memcpy(halves, in, sizeof halves);
    const std::uint64_t first = halves[0] & kNotAscii;
    const std::uint64_t second = halves[1] & kNotAscii;
    const int ascii = (first ? std::countr_zero(first) : 64 + std::countr_zero(second)) / 16;
    in += ascii;
    out += ascii;
    if (first | second) break;
  }
  return out;
}

char* writeUtf8(char* out, char32_t point) {
  const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(byte); };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | point >> 6);
    put(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    put(0xE0 | point >> 12);
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  } else {
    put(0xF0 | point >> 18);
    put(0x80 | (point >> 12 & 0x3F));
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  }
  return out;
}

char32_t readUtf16(const char16_t*& in, const char16_t* end) {
  const char16_t unit = *in++;
  if (isHighSurrogate(unit) && in != end && isLowSurrogate(*in)) {
    return 0x10000 + ((unit & 0x3FFu) << 10) + (*in++ & 0x3FFu);
  }
  return isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit;
}

/// Writes the characters that begin before `stop`, which may end as far as `end`, and moves past them.
char* narrow(const char16_t*& in, const char16_t* stop, const char16_t* end, char* out) {
  while (in < stop) {
    out = narrowAsciiBlocks(in, stop, out);
    for (; in < stop && *in < 0x80; ++in) *out++ = static_cast<char>(*in);
    while (in < stop && *in >= 0x80) out = writeUtf8(out, readUtf16(in, end));
  }
  return out;
}

}  // namespace

void appendUtf16(std::u16string& wide, std::string_view utf8) {
  // A sequence may begin within a piece and end after it; none has more units than bytes.
  constexpr std::ptrdiff_t kPieceBytes = 512;
  char16_t piece[kPieceBytes + kMaxSequence];
  const char* in = utf8.data();
  const char* const end = in + utf8.size();
  while (in != end) {
    const char16_t* const out = widen(in, in + std::min(end - in, kPieceBytes), end, piece);
    wide.append(piece, static_cast<std::size_t>(out - piece));
  }
}

std::u16string utf8ToWide(std::string_view utf8) {
  std::u16string wide;
  wide.reserve(utf8.size());  // no sequence has more units than bytes
  appendUtf16(wide, utf8);
  return wide;
}

std::string wideToUtf8(std::u16string_view wide) {
  constexpr std::ptrdiff_t kPieceUnits = 256;
  char piece[(kPieceUnits + 1) * 3];  // a pair that begins within a piece may end after it
  std::string utf8;
  utf8.reserve(wide.size());
  const char16_t* in = wide.data();
  const char16_t* const end = in + wide.size();
  while (in != end) {
    const char* const out = narrow(in, in + std::min(end - in, kPieceUnits), end, piece);
    utf8.append(piece, static_cast<std::size_t>(out - piece));
  }
  return utf8;
}

}  // namespace quillmoria
