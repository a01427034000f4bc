#include "modern/web/Due.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "modern/reading/Dates.h"
#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kWeek = 7 * kDay;
constexpr std::int64_t kLeastPause = kHour / 2;
constexpr std::uint32_t kAllHours = (std::uint32_t{1} << 24) - 1;
constexpr std::uint8_t kAllDays = (1 << 7) - 1;

/// What Cache-Control says of freshness.
struct CacheControl {
  bool forbidsUse = false;  ///< without asking
  std::optional<std::int64_t> maxAge;
};

/// Digits, perhaps in quotes; a number beyond the type is its greatest.
std::optional<std::int64_t> secondsIn(std::string_view text) {
  if (text.size() > 1 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
  const bool isNumber = !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
  if (!isNumber) return std::nullopt;
  std::int64_t seconds = INT64_MAX;
  std::from_chars(text.data(), text.data() + text.size(), seconds);
  return seconds;
}

CacheControl readCacheControl(const std::string& value) {
  CacheControl control;
  const std::string text = lowerAscii(value);
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view part = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    const std::string_view name = withoutBlanks(part.substr(0, part.find('=')));
    if (name == "no-cache" || name == "no-store") control.forbidsUse = true;
    if (name == "max-age" && !control.maxAge && part.find('=') != std::string_view::npos) {
      control.maxAge = secondsIn(withoutBlanks(part.substr(part.find('=') + 1)));
    }
  }
  return control;
}

/// Whether the feed says that nothing changes at `moment`. A list that leaves no hour says nothing.
bool isSkipped(const UpdateRules& rules, std::int64_t moment) {
  constexpr std::int64_t kThursday = 4;  // 1970-01-01, counted from Sunday
  const std::int64_t hour = moment / kHour % 24;
  const std::int64_t day = (moment / kDay + kThursday) % 7;
  return ((rules.skipHours & kAllHours) != kAllHours && (rules.skipHours >> hour & 1) != 0) ||
         ((rules.skipDays & kAllDays) != kAllDays && (rules.skipDays >> day & 1) != 0);
}

}  // namespace

std::int64_t freshSeconds(const ResponseFields& fields) {
  const CacheControl control = readCacheControl(fields.joined("cache-control"));
  if (control.forbidsUse) return 0;
  if (control.maxAge) return *control.maxAge;
  if (fields.first("expires").empty()) return -1;
  const CTime expires = readDate(fields.first("expires"));
  const CTime date = readDate(fields.first("date"));
  if (expires == CTime()) return 0;  // as "0" means
  const std::int64_t from = (date == CTime() ? CTime::GetCurrentTime() : date).GetTime();
  return std::max<std::int64_t>(expires.GetTime() - from, 0);
}

std::int64_t dueAfterFeed(std::int64_t asked, std::int64_t freshFor, const UpdateRules& rules, std::int64_t notBefore) {
  std::int64_t due = std::max(asked + kLeastPause, notBefore);
  due = std::max(due, asked + std::min(freshFor, kDay));
  due = std::max(due, asked + std::min(rules.minutes * kMinute, kWeek));
  while (due < asked + kWeek && isSkipped(rules, due)) due = (due / kHour + 1) * kHour;
  return std::min(due, asked + kWeek);
}

std::int64_t dueAfterFailure(std::int64_t asked, Outcome outcome, std::int32_t failures, std::int64_t notBefore) {
  constexpr std::int32_t kMaxDoublings = 5;
  const bool hasAnswered = outcome != Outcome::NetworkError && outcome != Outcome::NoMemory;
  const std::int64_t pause =
      hasAnswered ? std::min(kHour << std::clamp(failures - 1, 0, kMaxDoublings), kDay) : kLeastPause;
  return std::max(asked + pause, notBefore);
}

}  // namespace quillmoria
