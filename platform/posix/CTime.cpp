#include "quillmoria/CTime.h"

#include <locale.h>
#include <time.h>

#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <type_traits>

namespace {

constexpr int kTmYearBase = 1900;
constexpr std::int64_t kMaxSeconds = std::numeric_limits<std::int32_t>::max();

bool fitsInt(std::int64_t field) {
  return field >= std::numeric_limits<int>::min() && field <= std::numeric_limits<int>::max();
}

/// Hands on to `next`, the unit above, what an int cannot hold of `field`. False if that one cannot hold it either.
bool carry(std::int64_t& field, std::int64_t size, std::int64_t& next) {
  if (fitsInt(field)) return true;
  if (__builtin_add_overflow(next, field / size, &next)) return false;
  field %= size;
  return true;
}

/// Compatibility.
std::int32_t countOrNoTime(std::int64_t seconds) {
  return seconds >= 0 && seconds <= kMaxSeconds ? static_cast<std::int32_t>(seconds) : -1;
}

/// The moment of `fields` if they are a time in UTC of the years that CTime has; -1 for other years and odd months.
std::int64_t secondsInUtc(const tm& fields) {
  using namespace std::chrono;
  if (fields.tm_year < 70 || fields.tm_year > 138 || fields.tm_mon < 0 || fields.tm_mon > 11) return -1;
  const sys_days monthsFirst = year(kTmYearBase + fields.tm_year) / (fields.tm_mon + 1) / 1;
  const std::int64_t days = std::int64_t{monthsFirst.time_since_epoch().count()} + fields.tm_mday - 1;
  return ((days * 24 + fields.tm_hour) * 60 + fields.tm_min) * 60 + fields.tm_sec;
}

/// What local time is ahead of UTC; none where the zone counts leap seconds.
std::optional<long> offsetAt(std::int64_t seconds) {
  const time_t moment = seconds;
  tm local{};
  localtime_r(&moment, &local);
  if (local.tm_sec != (seconds + local.tm_gmtoff) % 60) return std::nullopt;
  return local.tm_gmtoff;
}

/// The moment of `fields`, -1 if there is none. mktime looks for a new time zone file at each call, which costs more
/// than all the rest of reading a date; where the clock is not changed for a day around, the zone's offset says the
/// same.
std::int64_t secondsOf(tm fields) {
  constexpr std::int64_t kDay = 86'400;
  const std::int64_t utc = secondsInUtc(fields);
  if (fields.tm_isdst >= 0 || utc < 2 * kDay || utc > kMaxSeconds + kDay) return mktime(&fields);
  const std::optional<long> offset = offsetAt(utc - kDay);
  const bool isSteady = offset && offsetAt(utc + kDay) == offset;
  return isSteady ? utc - *offset : mktime(&fields);
}

struct LocaleRelease {
  void operator()(locale_t locale) const { freelocale(locale); }
};
using Locale = std::unique_ptr<std::remove_pointer_t<locale_t>, LocaleRelease>;

}  // namespace

CTime::CTime(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour, std::int64_t minute,
             std::int64_t second, int daylightSaving) {
  if (!carry(second, 60, minute) || !carry(minute, 60, hour) || !carry(hour, 24, day) || !carry(month, 12, year) ||
      !fitsInt(day) || !fitsInt(month - 1) || __builtin_sub_overflow(year, std::int64_t{kTmYearBase}, &year) ||
      !fitsInt(year)) {
    return;
  }

  tm fields{};
  fields.tm_year = static_cast<int>(year);
  fields.tm_mon = static_cast<int>(month - 1);
  fields.tm_mday = static_cast<int>(day);
  fields.tm_hour = static_cast<int>(hour);
  fields.tm_min = static_cast<int>(minute);
  fields.tm_sec = static_cast<int>(second);
  fields.tm_isdst = daylightSaving;
  seconds_ = countOrNoTime(secondsOf(fields));
}

CTime CTime::GetCurrentTime() { return countOrNoTime(time(nullptr)); }

std::string CTime::Format(const char* pattern) const {
  const time_t moment = seconds_;
  tm fields;
  if (seconds_ == -1 || !localtime_r(&moment, &fields)) return {};
  const Locale locale{newlocale(LC_ALL_MASK, "C", nullptr)};
  if (!locale) return {};

  // A length of 0 means both "too small" and "nothing to show": a last character of our own tells them apart.
  const std::string closed = std::string(pattern) + '.';
  std::string text;
  text.resize(text.capacity());
  for (;;) {
    const std::size_t length = strftime_l(text.data(), text.size(), closed.c_str(), &fields, locale.get());
    if (length > 0) {
      text.resize(length - 1);
      return text;
    }
    text.resize(text.size() * 2);
  }
}
