#include "modern/web/HttpDate.h"

#include <chrono>
#include <cstdio>

namespace quillmoria {

std::string httpDate(std::int64_t moment) {
  constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::chrono::sys_seconds time{std::chrono::seconds(moment)};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[40];
  std::snprintf(text, sizeof text, "%s, %02u %s %04d %02d:%02d:%02d GMT", kDays[std::chrono::weekday(day).c_encoding()],
                static_cast<unsigned>(date.day()), kMonths[static_cast<unsigned>(date.month()) - 1],
                static_cast<int>(date.year()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
  return text;
}

}  // namespace quillmoria
