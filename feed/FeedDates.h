#pragma once

#include <string_view>

#include "quillmoria/CTime.h"

namespace quillmoria {

/// Reads a W3C date-time ("2004-05-06", "2004-05-06T07:08:09Z", the profile of ISO 8601) by the positions of its
/// digits. The fields are a local wall-clock time; the zone designator is left unused, as is a fraction of a second. A
/// text with a time that does not end in "Z" gives up its last six characters as the zone. A year that is 0 or missing
/// gives the current time; a moment that CTime cannot hold gives "no time". Any thread.
CTime readW3cDate(std::string_view text);

/// Reads an RFC 822 date ("Sun, 19 May 2002 15:21:36 GMT") as a local wall-clock time; the zone is left unused. The day
/// name is needed but not looked at; two-digit years below 20 count from 2000. "No time" for anything else. Any thread.
CTime readRfc822Date(std::string_view text);

}  // namespace quillmoria
