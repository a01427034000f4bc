#include "platform/CodePage.h"

#include <errno.h>
#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>

#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr const char* kWide = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
constexpr char16_t kReplacement = 0xFFFD;
constexpr char kDefaultCharacter = '?';

/// One conversion in progress; empty if the system does not know one of the names.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (*this) iconv_close(handle_);
  }
  explicit operator bool() const { return reinterpret_cast<std::intptr_t>(handle_) != -1; }

  /// Appends to `out` what `in` converts to and moves past it. Returns false at input that does not convert.
  template <class Text>
  bool convert(std::string_view& in, Text& out) const {
    using Unit = typename Text::value_type;
    Unit buffer[512];
    for (;;) {
      const bool atEnd = in.empty();  // a last call closes what a stateful character set left open
      char* from = const_cast<char*>(in.data());
      std::size_t left = in.size();
      char* to = reinterpret_cast<char*>(buffer);
      std::size_t room = sizeof buffer;
      const bool failed = iconv(handle_, atEnd ? nullptr : &from, &left, &to, &room) == static_cast<std::size_t>(-1);
      const bool isBroken = failed && errno != E2BIG;
      out.append(buffer, (sizeof buffer - room) / sizeof(Unit));
      in.remove_prefix(in.size() - left);
      if (isBroken) return false;
      if (atEnd && !failed) return true;
    }
  }

 private:
  iconv_t handle_;
};

/// The ANSI code page of the process. Trivial, so that unloading the module leaves nothing behind.
struct CodePage {
  char charset[64] = "UTF-8";
  bool isUtf8 = true;
  bool keepsAscii = true;  ///< the first 128 characters are those of ASCII
};

struct LocaleOfEnvironment {
  locale_t handle = newlocale(LC_CTYPE_MASK, "", nullptr);
  ~LocaleOfEnvironment() {
    if (handle) freelocale(handle);
  }
};

std::string charsetOfEnvironment() {
  if (const char* text = getenv("QUILLMORIA_CODEPAGE"); text && *text) {
    const std::int32_t number = toInt32(text);
    return number == 65001 ? "UTF-8" : "CP" + std::to_string(number);
  }
  const LocaleOfEnvironment locale;
  const std::string charset = locale.handle ? nl_langinfo_l(CODESET, locale.handle) : "";
  return charset == "ANSI_X3.4-1968" ? "UTF-8" : charset;
}

bool keepsAscii(const char* charset) {
  std::string ascii;
  for (int character = 0; character < 0x80; ++character) ascii += static_cast<char>(character);
  std::string_view rest = ascii;
  std::u16string wide;
  return Converter(kWide, charset).convert(rest, wide) && wide == utf8ToWide(ascii);
}

CodePage readCodePage() {
  CodePage page;
  const std::string charset = charsetOfEnvironment();
  if (charset.empty() || charset == "UTF-8" || charset.size() >= sizeof page.charset) return page;
  if (!Converter(kWide, charset.c_str()) || !Converter(charset.c_str(), kWide)) return page;

  std::copy(charset.begin(), charset.end() + 1, page.charset);
  page.isUtf8 = false;
  page.keepsAscii = keepsAscii(page.charset);
  return page;
}

const CodePage& codePage() {
  static const CodePage page = readCodePage();
  return page;
}

template <class Text>
bool isAscii(Text text) {
  return std::all_of(text.begin(), text.end(), [](auto unit) { return unit >= 0 && unit < 0x80; });
}

/// The bytes of the character that `wide`, a text in UTF-16, begins with.
std::size_t characterBytes(std::string_view wide) {
  char16_t units[2] = {};
  memcpy(units, wide.data(), std::min(wide.size(), sizeof units));
  const bool isPair = (units[0] & 0xFC00) == 0xD800 && (units[1] & 0xFC00) == 0xDC00;
  return isPair ? sizeof units : sizeof units[0];
}

/// What a character set's characters have at least.
std::size_t unitBytes(std::string_view charset) {
  if (charset.starts_with("UTF-16")) return 2;
  return charset.starts_with("UTF-32") ? 4 : 1;
}

}  // namespace

std::optional<std::size_t> appendUtf8(std::string& utf8, std::string_view bytes, const char* charset) {
  const Converter converter("UTF-8", charset);
  if (!converter) return std::nullopt;
  std::size_t replacements = 0;
  for (; !converter.convert(bytes, utf8); ++replacements) {
    utf8 += "\uFFFD";
    bytes.remove_prefix(std::min(unitBytes(charset), bytes.size()));
  }
  return replacements;
}

std::string wideToAnsi(std::u16string_view wide) {
  const CodePage& page = codePage();
  if (page.isUtf8) return wideToUtf8(wide);
  if (page.keepsAscii && isAscii(wide)) return {wide.begin(), wide.end()};

  const Converter converter(page.charset, kWide);
  if (!converter) throw std::bad_alloc();  // the names are known: only memory or descriptors can be short
  std::string text;
  std::string_view rest(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(char16_t));
  while (!converter.convert(rest, text)) {
    text += kDefaultCharacter;
    rest.remove_prefix(characterBytes(rest));
  }
  return text;
}

std::u16string ansiToWide(std::string_view text) {
  const CodePage& page = codePage();
  if (page.isUtf8 || (page.keepsAscii && isAscii(text))) return utf8ToWide(text);

  const Converter converter(kWide, page.charset);
  if (!converter) throw std::bad_alloc();  // the names are known: only memory or descriptors can be short
  std::u16string wide;
  while (!converter.convert(text, wide)) {
    wide += kReplacement;
    text.remove_prefix(1);
  }
  return wide;
}

}  // namespace quillmoria
