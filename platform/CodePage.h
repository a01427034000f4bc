#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

/// Appends the UTF-16 form of the UTF-8 text `utf8` to `wide`. Invalid bytes become U+FFFD.
void appendUtf16(std::u16string& wide, std::string_view utf8);

/// `utf8` as UTF-16; see appendUtf16.
std::u16string utf8ToWide(std::string_view utf8);

/// `wide` as UTF-8. Lone surrogates become U+FFFD.
std::string wideToUtf8(std::u16string_view wide);

/// `wide` in the ANSI code page, the 8-bit character set of cache files; what it cannot represent becomes `?`, one for
/// each character.
std::string wideToAnsi(std::u16string_view wide);

/// Appends to `utf8` what `bytes` are in the character set `charset`, one of the names of iconv, which must not come
/// from outside. What is invalid becomes U+FFFD. Returns in how many places that was so, none if the system does not
/// know `charset`. Takes time in proportion to `bytes`, and at most four times their size. Any thread may convert.
std::optional<std::size_t> appendUtf8(std::string& utf8, std::string_view bytes, const char* charset);

/// Text in the ANSI code page as UTF-16; bytes that mean nothing in it become U+FFFD.
///
/// The ANSI code page is what QUILLMORIA_CODEPAGE names (a number such as 1252), else the character set of the
/// environment's locale, else UTF-8, also for the "C" locale and for a name that the system does not know. It is read
/// once, at the first use. Any thread may convert.
std::u16string ansiToWide(std::string_view text);

}  // namespace quillmoria
