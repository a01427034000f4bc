#pragma once

#include <string_view>

namespace quillmoria {

/// The character that HTML knows by `name`, as in &eacute;, 0 if none. XML's own five are not among them.
char32_t characterOfHtmlName(std::string_view name);

/// The character that HTML reads for the number `point` of a reference: those of 0x80 to 0x9F are windows-1252's.
char32_t characterOfHtmlNumber(char32_t point);

}  // namespace quillmoria
