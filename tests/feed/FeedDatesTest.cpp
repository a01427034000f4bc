#include "feed/FeedDates.h"

#include <gtest/gtest.h>

#include <span>

#include "support/TimeZone.h"

namespace {

struct DateCase {
  std::string_view text;
  const char* local;  ///< by the clock of the machine; empty for no time
};

void expectInSomeZones(CTime (*read)(std::string_view), std::span<const DateCase> dates) {
  for (const char* name : {"UTC", "Europe/Berlin", "Asia/Kolkata"}) {
    const TimeZone zone(name);
    for (const auto& [text, local] : dates) EXPECT_EQ(read(text).Format("%F %T"), local) << name << ": " << text;
  }
}

}  // namespace

TEST(W3cDate, ReadsAsLocalTime) {
  static constexpr DateCase kDates[] = {
      {" \t\v2004-05-06\f\r\n", "2004-05-06 00:00:00"},
      {"2004/05.06", "2004-05-06 00:00:00"},
      {"2004-5-6", "2004-04-30 00:00:00"},  // nothing where the day stands
      {"2004-01-32", "2004-02-01 00:00:00"},
      {"2004-05-06Z", "2004-05-06 00:00:00"},
      {"2004-05-06T07:08:09Z", "2004-05-06 07:08:09"},
      {"2004-05-06T07:08Z", "2004-05-06 07:08:00"},
      {"2004-05-06T07:08:09.25Z", "2004-05-06 07:08:09"},
      {"2004-05-06T07:08:09+12:00", "2004-05-06 07:08:09"},
      {"2004-05-06T07:08-05:00", "2004-05-06 07:08:00"},
      {"2004-05-06T07:08:09", "2004-05-06 07:00:00"},  // taken for a zone
      {"2004-05-06T07:0", "2004-05-06 00:00:00"},
      {"2004-05-06T-1:-1:99Z", "2004-05-05 23:00:39"},
      {"1960-01-01", ""},
      {"2040-01-01", ""},
      {"-004-01-01", ""},
  };
  expectInSomeZones(quillmoria::readW3cDate, kDates);
}

TEST(W3cDate, WithoutAYearIsThePresent) {
  for (const char* text : {"", "  ", "0000-01-01", "May 2004", "-0"}) {
    const CTime before = CTime::GetCurrentTime();
    const CTime read = quillmoria::readW3cDate(text);
    EXPECT_TRUE(read >= before && read <= CTime::GetCurrentTime()) << text;
  }
}

TEST(Rfc822Date, ReadsAsLocalTime) {
  static constexpr DateCase kDates[] = {
      {"Sun, 19 May 2002 15:21:36 GMT", "2002-05-19 15:21:36"},
      {"\r\n\tSun, 19 May 2002 15:21:36 +0200\n", "2002-05-19 15:21:36"},
      {"Sun,    19   May  2002   15:21:36", "2002-05-19 15:21:36"},
      {"Sun,19 May 2002 15:21:36 GMT", "2002-05-09 15:21:36"},
      {"Sun, 19 May 02 15:21:36", "2002-05-19 15:21:36"},
      {"Sun, 19 May -5 15:21:36", "1995-05-19 15:21:36"},
      {"Sun, 19 May 2002", "2002-05-19 00:00:00"},
      {"Sun, 19 May 2002 15::36:99", "2002-05-19 15:00:36"},
      {"Sun, 49 May 2002 24:00", "2002-06-19 00:00:00"},
      {"Sun, 19 May 00 15:21:36", ""},
      {"Sun, 19 May 99 15:21:36", ""},
      {"Sun, 19 may 2002 15:21:36", ""},
      {"Sun, 0 May 2002 15:21:36", ""},
      {"Sun, 19 May", ""},
      {"Sun,", ""},
      {"19 May 2002 15:21:36 GMT", ""},
      {"Tuesday, 19 May 2002 15:21:36 GMT", ""},
      {"Sun, 99999999999999999999 May 2002", ""},
  };
  expectInSomeZones(quillmoria::readRfc822Date, kDates);
}
