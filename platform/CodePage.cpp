#include "platform/CodePage.h"

#include <cstring>

namespace quillmoria {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

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

/// Writes the ASCII that `in` begins with, eight bytes at a time, and moves past what it wrote. May leave up to seven.
char16_t* widenAsciiBlocks(const char*& in, const char* end, char16_t* out) {
  constexpr std::uint64_t kNotAscii = 0x8080808080808080;
  for (; end - in >= 8; in += 8, out += 8) {
    std::uint64_t block;
    std::memcpy(&block, in, sizeof block);
    if (block & kNotAscii) break;
    for (int i = 0; i < 8; ++i) out[i] = static_cast<unsigned char>(in[i]);
  }
  return out;
}

/// Writes the ASCII that `in` begins with, eight units at a time, and moves past what it wrote. May leave up to seven.
char* narrowAsciiBlocks(const char16_t*& in, const char16_t* end, char* out) {
  for (; end - in >= 8; in += 8, out += 8) {
    char16_t all = 0;
    for (int i = 0; i < 8; ++i) all |= in[i];
    if (all >= 0x80) break;
    for (int i = 0; i < 8; ++i) out[i] = static_cast<char>(in[i]);
  }
  return out;
}

/// The bytes that `wide` takes in UTF-8, or somewhat more where it has surrogates.
std::size_t utf8Size(std::u16string_view wide) {
  std::size_t size = wide.size();
  for (const char16_t unit : wide)
    size += static_cast<std::size_t>(unit >= 0x80) + static_cast<std::size_t>(unit >= 0x800);
  return size;
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

}  // namespace

void appendUtf16(std::u16string& wide, std::string_view utf8) {
  const std::size_t before = wide.size();
  wide.resize(before + utf8.size());  // no sequence has more units than bytes

  const char* in = utf8.data();
  const char* const end = in + utf8.size();
  char16_t* out = wide.data() + before;
  while (in != end) {
    out = widenAsciiBlocks(in, end, out);
    for (int i = 0; i < 8 && in != end; ++i) {
      if (static_cast<unsigned char>(*in) < 0x80) {
        *out++ = static_cast<unsigned char>(*in++);
      } else {
        out = writeUtf16(out, readSequence(in, end));
      }
    }
  }
  wide.resize(static_cast<std::size_t>(out - wide.data()));
}

std::u16string utf8ToWide(std::string_view utf8) {
  std::u16string wide;
  appendUtf16(wide, utf8);
  return wide;
}

std::string wideToUtf8(std::u16string_view wide) {
  std::string utf8(utf8Size(wide), '\0');

  const char16_t* in = wide.data();
  const char16_t* const end = in + wide.size();
  char* out = utf8.data();
  while (in != end) {
    out = narrowAsciiBlocks(in, end, out);
    for (int i = 0; i < 8 && in != end; ++i) out = writeUtf8(out, readUtf16(in, end));
  }
  utf8.resize(static_cast<std::size_t>(out - utf8.data()));
  return utf8;
}

}  // namespace quillmoria
