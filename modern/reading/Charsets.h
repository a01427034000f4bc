#pragma once

#include <string_view>

namespace quillmoria {

inline constexpr const char* kUtf8 = "UTF-8";
inline constexpr const char* kWindows1252 = "CP1252";

/// The character set that the WHATWG encoding standard means by `label`, under the name by which the platform knows it;
/// null for a label that is none, and for those that stand for no character set. White space and case do not matter.
const char* charsetOf(std::string_view label);

}  // namespace quillmoria
