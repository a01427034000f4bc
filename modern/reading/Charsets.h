#pragma once

#include <string_view>

namespace quillmoria {

inline constexpr const char* kUtf8 = "UTF-8";
inline constexpr const char* kWindows1252 = "CP1252";
inline constexpr const char* kAscii = "ASCII";
inline constexpr const char* kEbcdic = "IBM037";  ///< whose letters, digits and signs of tags all of EBCDIC's share

/// The character set that `label` means, under the name by which the platform knows it; null for a label that is none,
/// and for those that stand for no character set. The WHATWG encoding standard's labels mean what that says, but for
/// ASCII's. Case and the signs between the words of a label do not matter.
const char* charsetOf(std::string_view label);

}  // namespace quillmoria
