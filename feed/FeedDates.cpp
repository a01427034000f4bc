#include "feed/FeedDates.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/Text.h"
#include "platform/Trace.h"

namespace quillmoria {
namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct TimeOfDay {
  std::int64_t hour = 0;
  std::int64_t minute = 0;
  std::int64_t second = 0;
};

std::string_view trimWhiteSpace(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

/// The number at fixed positions, from whatever characters exist there.
std::int64_t numberAt(std::string_view text, std::size_t position, std::size_t length) {
  return position < text.size() ? toInt64(text.substr(position, length)) : 0;
}

/// Takes the next token and the separator after it off `text`.
std::string_view takeToken(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view token = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return token;
}

/// As takeToken, but a run of spaces is one separator.
std::string_view takeWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return takeToken(text, ' ');
}

TimeOfDay readW3cTime(std::string_view text) {
  constexpr std::size_t kTimeStart = 11;
  constexpr std::size_t kZoneLength = 6;
  // Compatibility.
  const std::size_t zoneLength = text.back() == 'Z' ? 1 : kZoneLength;
  if (text.size() < kTimeStart + zoneLength) return {};
  const std::string_view time = text.substr(kTimeStart, text.size() - kTimeStart - zoneLength);

  TimeOfDay result{.hour = numberAt(time, 0, 2)};
  if (time.size() > 4) result.minute = numberAt(time, 3, 2);
  if (time.size() > 7) result.second = numberAt(time, 6, 2);
  return result;
}

TimeOfDay readRfc822Time(std::string_view text) {
  TimeOfDay result;
  for (std::int64_t* part : {&result.hour, &result.minute, &result.second}) *part = toInt64(takeToken(text, ':'));
  return result;
}

/// 1 to 12, or 0.
std::int64_t monthNumber(std::string_view name) {
  const auto* const month = std::find(std::begin(kMonths), std::end(kMonths), name);
  return month == std::end(kMonths) ? 0 : month - std::begin(kMonths) + 1;
}

CTime localTime(std::int64_t year, std::int64_t month, std::int64_t day, const TimeOfDay& time) {
  return {year, month, day, time.hour, time.minute, time.second};
}

}  // namespace

CTime readW3cDate(std::string_view text) {
  constexpr std::size_t kMinWithTime = 11;
  text = trimWhiteSpace(text);

  TimeOfDay time;
  if (text.size() >= kMinWithTime) {
    time = readW3cTime(text);
  } else {
    // Compatibility.
    trace("Time string contains only upto day: %.*s", static_cast<int>(text.size()), text.data());
  }

  const std::int64_t year = numberAt(text, 0, 4);
  // Compatibility.
  if (year == 0) return CTime::GetCurrentTime();
  return localTime(year, numberAt(text, 5, 2), numberAt(text, 8, 2), time);
}

CTime readRfc822Date(std::string_view text) {
  constexpr std::size_t kDayNameDigits = 3;
  constexpr std::size_t kDayNameLength = 5;  // with its comma and space
  constexpr std::int64_t kFirstFullYear = 20;
  text = trimLineBreaks(text);
  if (text.size() < kDayNameLength) return {};
  if (text.substr(0, kDayNameDigits).find_first_of(kDigits) != std::string_view::npos) return {};
  // Compatibility.
  text.remove_prefix(kDayNameLength);

  const std::int64_t day = toInt64(takeWord(text));
  const std::int64_t month = monthNumber(takeWord(text));
  const std::int64_t year = toInt64(takeWord(text));
  if (day == 0 || month == 0 || year == 0) return {};
  // Compatibility.
  return localTime(year < kFirstFullYear ? year + 2000 : year, month, day, readRfc822Time(takeWord(text)));
}

}  // namespace quillmoria
