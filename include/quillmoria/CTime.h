#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "quillmoria/export.h"

/// A moment: signed 32-bit seconds since 1970-01-01 00:00 UTC, or -1 for "no time".
///
///     if (item.date != CTime()) show(item.date.Format("%Y-%m-%d %H:%M"));
///
/// A plain value; any thread may use its own copy.
class QUILLMORIA_EXPORT CTime {
 public:
  /// No time.
  constexpr CTime() = default;

  /// The moment `seconds` after the epoch. Implicit, since a time value is just such a count.
  constexpr CTime(std::int32_t seconds) : seconds_(seconds) {}

  /// The moment at which the machine's local clock shows these six fields. Fields out of their range are normalised
  /// (day 32 of January is 1 February). `daylightSaving` is above 0 if the fields are in daylight saving time, 0 if
  /// not, below 0 if the system decides. A moment before the epoch or after 2038-01-19 03:14:07 UTC gives "no time".
  CTime(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour, std::int64_t minute,
        std::int64_t second, int daylightSaving = -1);

  /// The present moment.
  static CTime GetCurrentTime();

  /// Seconds since 1970-01-01 00:00 UTC, or -1.
  constexpr std::int32_t GetTime() const { return seconds_; }

  /// The moment in local time by a `strftime` pattern, in the "C" locale, so that "%p" is always AM or PM.
  /// Empty for "no time".
  std::string Format(const char* pattern) const;

  /// Orders by the count of seconds; "no time" comes before every moment.
  friend constexpr auto operator<=>(const CTime&, const CTime&) = default;

 private:
  std::int32_t seconds_ = -1;
};
