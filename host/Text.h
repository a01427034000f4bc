#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillmoria {

/// "1 item", "2 items".
std::string counted(std::size_t count, std::string_view noun);

/// Adds the character `c` to `utf8`.
void appendUtf8(std::string& utf8, char32_t c);

/// Takes the first character off `text`, which is not empty; one byte and U+FFFD if there is none of UTF-8.
char32_t takeCharacter(std::string_view& text);

/// UTF-16 as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string toUtf8(std::u16string_view text);

/// UTF-8 as UTF-16; bytes that are not UTF-8 become U+FFFD.
std::u16string toUtf16(std::string_view text);

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

/// How many columns a terminal gives to `c`: two to a wide one, none to one that joins the one before or controls.
std::size_t columnsOf(char32_t c);

/// And to all of `text`.
std::size_t columnsOf(std::string_view text);

/// A printable `text` if `columns` columns hold it, else as much of its start as they hold with three dots.
std::string shortened(std::string_view text, std::size_t columns);

}  // namespace quillmoria
