#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillmoria {

/// "1 item", "2 items".
std::string counted(std::size_t count, std::string_view noun);

/// UTF-16 as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// `text` as one line that is safe on a terminal, whoever wrote it: line breaks and tabs become spaces, all other
/// control characters and those that turn the writing direction are left out, bytes that are not UTF-8 become U+FFFD.
std::string printable(std::string_view text);

/// `text` with a question mark for each character beyond ASCII and each byte that is not UTF-8.
std::string inAscii(std::string_view text);

/// `text` without white space at its ends and with one space for each run of it within.
std::string collapsed(std::string_view text);

/// The start of `text`, at most `bytes` long and without half a UTF-8 character at its end.
std::string_view firstBytes(std::string_view text, std::size_t bytes);

/// The start of a printable `text` that fits `columns` columns of a terminal. A character beyond ASCII is counted as
/// two, the most that one can take.
std::string_view firstColumns(std::string_view text, std::size_t columns);

}  // namespace quillmoria
