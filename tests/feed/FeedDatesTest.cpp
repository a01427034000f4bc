#include "feed/FeedDates.h"

#include <gtest/gtest.h>

#include "support/Table.h"
#include "support/TimeZone.h"

TEST(FeedDate, ReadsAsLocalTimeInAnyZone) {
  for (const char* name : {"UTC", "Europe/Berlin", "Asia/Kolkata"}) {
    const TimeZone zone(name);
    for (const auto& [kind, text, expected] : readTable<3>("feed/dates.tsv")) {
      const CTime before = CTime::GetCurrentTime();
      const CTime read = kind == "W3C" ? quillmoria::readW3cDate(text) : quillmoria::readRfc822Date(text);
      const bool isNow = read >= before && read <= CTime::GetCurrentTime();
      EXPECT_EQ(isNow ? "now" : read.Format("%F %T"), expected) << kind << " in " << name << ": " << text;
    }
  }
}
