#include "host/Text.h"

#include <gtest/gtest.h>

#include <optional>

#include "host/Since.h"
#include "host/WebAddress.h"
#include "host/reader/Times.h"
#include "support/Table.h"

namespace quillmoria {
namespace {

TEST(PrintableText, IsOneHarmlessLineOfUtf8) {
  for (const auto& [text, shown] : readTable<2>("host/printable.tsv")) EXPECT_EQ(printable(text), shown);
}

TEST(ShownAddress, HasNoUserInformation) {
  for (const auto& [text, shown] : readTable<2>("host/addresses.tsv")) EXPECT_EQ(withoutUserInformation(text), shown);
}

TEST(TypedAddress, IsOneOfTheWebByTheRulesOfTheProfile) {
  const auto fetched = [](const std::string& text, Profile profile) {
    return typedAddress(text, profile).value_or("-");
  };
  for (const auto& [text, classic, modern, shown] : readTable<4>("host/typed-addresses.tsv")) {
    EXPECT_EQ(fetched(text, Profile::Classic), classic);
    EXPECT_EQ(fetched(text, Profile::Modern), modern);
    EXPECT_EQ(shownAddress(text), shown);
  }
}

TEST(AddressKey, IsTheSameForWhatIsOneFeed) {
  for (const auto& [url, key] : readTable<2>("host/address-keys.tsv")) EXPECT_EQ(addressKey(url), key) << url;
}

TEST(WideText, BecomesUtf8WithReplacementsForUnpairedSurrogates) {
  EXPECT_EQ(toUtf8(u"aé漢😀"), "aé漢😀");
  EXPECT_EQ(toUtf16("aé漢😀\xFF"), u"aé漢😀\xFFFD");
  EXPECT_EQ(toUtf8(u"\xD83D!\xDE00\xD83D"), "\uFFFD!\uFFFD\uFFFD");
}

TEST(CutText, NeverHoldsHalfACharacterOrTooManyColumns) {
  EXPECT_EQ(firstBytes("né漢", 5), "né");
  EXPECT_EQ(firstBytes("né漢", 6), "né漢");
  EXPECT_EQ(firstColumns("né漢x", 4), "né");
  EXPECT_EQ(firstColumns("né漢x", 6), "né漢x");
}

TEST(ShortenedText, HasAsManyColumnsAsATerminalGivesIt) {
  EXPECT_EQ(shortened("né漢x", 5), "né漢x");
  EXPECT_EQ(shortened("né漢字", 5), "né...");
  EXPECT_EQ(shortened("e\u0301e\u0301e\u0301", 3), "e\u0301e\u0301e\u0301");
  EXPECT_EQ(shortened("long", 2), "..");
}

TEST(SinceMoment, IsATimeBackOrTheBeginningOfADay) {
  const CTime now(2026, 11, 23, 22, 30, 15);
  for (const auto& [text, moment] : readTable<2>("host/since.tsv")) {
    const std::optional<CTime> since = sinceMoment(text, now);
    EXPECT_EQ(since ? since->Format("%Y-%m-%d %H:%M:%S") : "-", moment) << text;
  }
}

TEST(SaidTime, IsAsShortAsTheDaysBetweenAllow) {
  const CTime now(2026, 3, 10, 14, 30, 0);
  for (const auto& [text, said] : readTable<2>("host/said-times.tsv")) {
    const auto number = [&text](std::size_t at, std::size_t length) { return std::stoi(text.substr(at, length)); };
    const CTime time(number(0, 4), number(5, 2), number(8, 2), number(11, 2), number(14, 2), number(17, 2));
    EXPECT_EQ(saidTime(time, now), said) << text;
  }
  EXPECT_EQ(saidTime(CTime(), now), "");
}

}  // namespace
}  // namespace quillmoria
