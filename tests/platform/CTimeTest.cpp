#include "quillmoria/CTime.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "support/TimeZone.h"

namespace {

CTime bySystem(int year, int hour, int second) {
  tm fields{};
  fields.tm_year = year - 1900;
  fields.tm_mday = 1;
  fields.tm_hour = hour;
  fields.tm_sec = second;
  fields.tm_isdst = -1;
  const time_t moment = mktime(&fields);
  return moment < 0 || moment > std::numeric_limits<std::int32_t>::max() ? -1 : static_cast<std::int32_t>(moment);
}

}  // namespace

TEST(LocalTime, IsTheSystemsAtEveryHour) {
  for (const char* name : {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata", "Australia/Lord_Howe",
                           "Pacific/Apia", "Africa/Casablanca"}) {
    const TimeZone zone(name);
    for (int year : {1969, 1970, 2004, 2011, 2037, 2038}) {
      for (int hour = -24; hour < 367 * 24; ++hour) {
        ASSERT_EQ(CTime(year, 1, 1, hour, 0, 1799), bySystem(year, hour, 1799)) << name << year << ' ' << hour;
      }
    }
  }
}

TEST(Fields, OfAnySizeGiveAMomentOrNoTime) {
  const TimeZone zone("UTC");
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(CTime(1900, 1, 1, 0, 0, 3'400'000'000), 1'191'011'200);
  EXPECT_EQ(CTime(2004, 1, 1, -3'000'000'000'000, 0, 3'000'000'000'000 * 3600 + 5), CTime(2004, 1, 1, 0, 0, 5));
  EXPECT_EQ(CTime(2038, 1, 19, 3, 14, 7), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(CTime(2038, 1, 19, 3, 14, 8), CTime());
  for (std::int64_t extreme : {kMax, -kMax - 1}) {
    EXPECT_EQ(CTime(extreme, extreme, extreme, extreme, extreme, extreme), CTime());
    EXPECT_TRUE(CTime(extreme, 1, 1, 0, 0, 0) == -1 && CTime(2004, extreme, 1, 0, 0, 0) == -1 &&
                CTime(2004, 1, extreme, 0, 0, 0) == -1);
  }
}

TEST(Fields, TakeTheCallersWordOnDaylightSaving) {
  const TimeZone zone("Europe/Berlin");
  EXPECT_EQ(CTime(2004, 10, 31, 2, 30, 0, 0).GetTime() - CTime(2004, 10, 31, 2, 30, 0, 1).GetTime(), 3600);
}

TEST(Format, ShowsLocalTimeByAnyPattern) {
  const TimeZone zone("Asia/Kolkata");
  const CTime time = 1'083'827'289;
  EXPECT_EQ(time.Format("%Y-%m-%d %H:%M:%S %p"), "2004-05-06 12:38:09 PM");
  EXPECT_EQ(time.Format(""), "");
  EXPECT_EQ(time.Format("%c%c%c%c%c").size(), 5 * time.Format("%c").size());
  EXPECT_EQ(CTime().Format("%Y"), "");
}
