#include "Since.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <system_error>

namespace quillmoria {
namespace {

struct Unit {
  char letter;
  std::int64_t seconds;
};

constexpr Unit kUnits[] = {{'m', 60}, {'h', 60 * 60}, {'d', 24 * 60 * 60}, {'w', 7 * 24 * 60 * 60}};

/// A number of digits alone.
std::optional<std::int32_t> number(std::string_view text) {
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.starts_with('-') || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<CTime> beginningOfDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto year = number(text.substr(0, 4));
  const auto month = number(text.substr(5, 2));
  const auto day = number(text.substr(8));
  if (!year || !month || !day) return std::nullopt;
  const CTime moment(*year, *month, *day, 0, 0, 0);
  // Normalised, a day that the calendar does not have is another one.
  return moment.Format("%Y-%m-%d") == text ? std::optional(moment) : std::nullopt;
}

}  // namespace

std::optional<CTime> sinceMoment(std::string_view text, const CTime& now) {
  if (text.empty()) return std::nullopt;
  const auto* const unit = std::ranges::find(kUnits, text.back(), &Unit::letter);
  if (unit == std::end(kUnits)) return beginningOfDay(text);
  const auto count = number(text.substr(0, text.size() - 1));
  if (!count) return std::nullopt;
  return CTime(static_cast<std::int32_t>(std::max<std::int64_t>(now.GetTime() - *count * unit->seconds, 0)));
}

}  // namespace quillmoria
