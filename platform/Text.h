#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmoria {

/// `text` without the tabs, line feeds and carriage returns at its ends; spaces stay. Here since each chunk of a feed's
/// text goes through it.
constexpr std::string_view trimLineBreaks(std::string_view text) {
  constexpr auto isLineBreak = [](char c) { return c == '\t' || c == '\n' || c == '\r'; };
  while (!text.empty() && isLineBreak(text.front())) text.remove_prefix(1);
  while (!text.empty() && isLineBreak(text.back())) text.remove_suffix(1);
  return text;
}

/// The number that `text` begins with, as `atoi` reads it in the "C" locale: white space, an optional sign, digits up
/// to the first other character; 0 without digits. A number beyond the type becomes its nearest bound.
std::int64_t toInt64(std::string_view text);
std::int32_t toInt32(std::string_view text);

/// `text` with the letters A to Z, and no others, in lower case.
std::string lowerAscii(std::string_view text);

}  // namespace quillmoria
