#include "Text.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <array>

namespace quillmoria {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

bool isSpace(char32_t c) { return (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029; }

bool isControl(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x061C || c == 0x200E || c == 0x200F ||
         (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

/// The C library's table of widths needs a thread whose characters are those of Unicode; the process's locale is the
/// engine's as well.
class UnicodeScope {
 public:
  UnicodeScope() : former_(uselocale(unicode())) {}
  ~UnicodeScope() { uselocale(former_); }
  UnicodeScope(const UnicodeScope&) = delete;
  UnicodeScope& operator=(const UnicodeScope&) = delete;

 private:
  static locale_t unicode() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  locale_t former_;
};

}  // namespace

std::string counted(std::size_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

void appendUtf8(std::string& utf8, char32_t c) {
  const auto byte = [&utf8](char32_t bits) { utf8 += static_cast<char>(bits); };
  if (c < 0x80) return byte(c);
  if (c < 0x800) {
    byte(0xC0 | c >> 6);
  } else {
    if (c < 0x10000) {
      byte(0xE0 | c >> 12);
    } else {
      byte(0xF0 | c >> 18);
      byte(0x80 | (c >> 12 & 0x3F));
    }
    byte(0x80 | (c >> 6 & 0x3F));
  }
  byte(0x80 | (c & 0x3F));
}

char32_t takeCharacter(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  const bool whole = length != 0 && length <= text.size() &&
                     std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), isContinuation);
  char32_t c = kReplacement;
  if (whole) {
    constexpr std::array<char32_t, 5> kMinOfLength{0, 0, 0x80, 0x800, 0x10000};
    c = length == 1 ? lead : lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) c = c << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    if (c < kMinOfLength[length] || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) c = kReplacement;
  }
  text.remove_prefix(whole ? length : 1);
  return c;
}

std::string toUtf8(std::u16string_view text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xE000) {
      const bool pair = c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
      c = pair ? 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u) : kReplacement;
    }
    appendUtf8(utf8, c);
  }
  return utf8;
}

std::u16string toUtf16(std::string_view text) {
  std::u16string wide;
  wide.reserve(text.size());
  while (!text.empty()) {
    const char32_t c = takeCharacter(text);
    if (c < 0x10000) {
      wide += static_cast<char16_t>(c);
    } else {
      wide += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      wide += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    }
  }
  return wide;
}

std::string printable(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) return std::string(text);
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const char32_t c = takeCharacter(text);
    if (isSpace(c)) {
      line += ' ';
    } else if (!isControl(c)) {
      appendUtf8(line, c);
    }
  }
  return line;
}

std::string inAscii(std::string_view text) {
  std::string ascii;
  ascii.reserve(text.size());
  while (!text.empty()) {
    const char32_t c = takeCharacter(text);
    ascii += c < 0x80 ? static_cast<char>(c) : '?';
  }
  return ascii;
}

std::string collapsed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  std::string line;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    if (text.empty()) return line;
    const std::string_view word = text.substr(0, text.find_first_of(kSpace));
    if (!line.empty()) line += ' ';
    line += word;
    text.remove_prefix(word.size());
  }
}

std::string_view firstBytes(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && isContinuation(text[bytes])) --bytes;
  return text.substr(0, bytes);
}

std::string_view firstColumns(std::string_view text, std::size_t columns) {
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view next = rest;
    const std::size_t width = takeCharacter(next) < 0x80 ? 1 : 2;
    if (width > columns) break;
    columns -= width;
    rest = next;
  }
  return text.substr(0, text.size() - rest.size());
}

std::size_t columnsOf(char32_t c) {
  if (c < 0x7F) return c < 0x20 ? 0 : 1;
  const UnicodeScope scope;
  return static_cast<std::size_t>(std::max(wcwidth(static_cast<wchar_t>(c)), 0));
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) columns += columnsOf(takeCharacter(text));
  return columns;
}

std::string shortened(std::string_view text, std::size_t columns) {
  constexpr std::string_view kDots = "...";
  const std::size_t kept = columns - std::min(columns, kDots.size());
  std::string_view rest = text;
  std::size_t used = 0;
  std::size_t keptBytes = 0;
  while (!rest.empty()) {
    used += columnsOf(takeCharacter(rest));
    if (used > columns) return std::string(text.substr(0, keptBytes)).append(kDots.substr(0, columns));
    if (used <= kept) keptBytes = text.size() - rest.size();
  }
  return std::string(text);
}

}  // namespace quillmoria
