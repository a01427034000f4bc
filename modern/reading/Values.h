#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "modern/reading/ReadFeed.h"

namespace quillmoria {

/// `text` without the white space at its ends.
std::string_view trimmed(std::string_view text);

/// Whether both are the same but for the case of the letters A to Z.
bool isSameWord(std::string_view one, std::string_view other);

/// Whether `list`, words parted by white space, has `word`, in any letter case.
bool hasWord(std::string_view list, std::string_view word);

/// The number that `text` begins with; -1 if it is none from 0 on.
std::int64_t countIn(std::string_view text);

/// As in "3723", "62:03" and "1:02:03"; -1 if `text` is no duration.
std::int64_t durationSeconds(std::string_view text);

/// The name in `person`, which may have an address beside it, as in "mail@example.org (Name)" and
/// "Name <mail@example.org>"; the address if there is none.
std::string_view personName(std::string_view person);

/// Minutes between two changes of a feed that changes `frequency` times in each `period`; -1 if both are unsaid.
std::int32_t updateMinutes(std::string_view period, std::int32_t frequency);

/// The bit of UpdateRules::skipDays for the name of a day; 0 if it is none.
std::uint8_t dayBit(std::string_view name);

/// The bit of UpdateRules::skipHours for 0 to 24; 0 for anything else.
std::uint32_t hourBit(std::string_view hour);

/// What `base64` stands for, up to the first character that does not belong there; white space does not count.
std::string decodedBase64(std::string_view base64);

}  // namespace quillmoria
