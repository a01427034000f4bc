#include "reader/Times.h"

#include <chrono>

namespace quillmoria {
namespace {

/// The day of a moment by the local clock.
std::chrono::sys_days dayOf(CTime time) {
  const int date = std::stoi(time.Format("%Y%m%d"));
  return std::chrono::year(date / 10000) / (date / 100 % 100) / (date % 100);
}

/// "3 March"
std::string dayAndMonth(CTime time) { return std::to_string(std::stoi(time.Format("%d"))) + time.Format(" %B"); }

}  // namespace

std::string saidTime(CTime time, CTime now) {
  if (time == CTime()) return "";
  const auto daysAgo = (dayOf(now) - dayOf(time)).count();
  if (daysAgo == 0) return time.Format("%H:%M");
  if (daysAgo == -1) return time.Format("tomorrow %H:%M");
  if (daysAgo == 1) return time.Format("yesterday %H:%M");
  // A week ago the day has the same name as today.
  if (daysAgo > 1 && daysAgo < 7) return time.Format("%A");
  const std::string year = time.Format("%Y");
  return year == now.Format("%Y") ? dayAndMonth(time) : dayAndMonth(time) + " " + year;
}

std::string exactTime(CTime time) {
  return time == CTime() ? "" : time.Format("%A, ") + dayAndMonth(time) + time.Format(" %Y, %H:%M");
}

}  // namespace quillmoria
