#include "modern/reading/Dates.h"

#include <gtest/gtest.h>

#include "support/Table.h"
#include "support/TimeZone.h"

namespace {

std::string momentOf(const std::string& text) {
  const std::string moment = quillmoria::readDate(text).Format("%FT%TZ");
  return moment.empty() ? "none" : moment;
}

}  // namespace

TEST(Date, ReadsAsTheMomentItNames) {
  const TimeZone utc("UTC");
  for (const auto& [text, expected] : readTable<2>("modern/dates.tsv")) EXPECT_EQ(momentOf(text), expected) << text;
}

TEST(Date, DoesNotDependOnTheMachinesZone) {
  const TimeZone zone("America/New_York");
  EXPECT_EQ(quillmoria::readDate("14 Jul 2004 12:00"), CTime(1'089'806'400));
}
