#include "host/Text.h"

#include <gtest/gtest.h>

#include "host/WebAddress.h"
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

TEST(WideText, BecomesUtf8WithReplacementsForUnpairedSurrogates) {
  EXPECT_EQ(toUtf8(u"aé漢😀"), "aé漢😀");
  EXPECT_EQ(toUtf8(u"\xD83D!\xDE00\xD83D"), "\uFFFD!\uFFFD\uFFFD");
}

TEST(CutText, NeverHoldsHalfACharacterOrTooManyColumns) {
  EXPECT_EQ(firstBytes("né漢", 5), "né");
  EXPECT_EQ(firstBytes("né漢", 6), "né漢");
  EXPECT_EQ(firstColumns("né漢x", 4), "né");
  EXPECT_EQ(firstColumns("né漢x", 6), "né漢x");
}

}  // namespace
}  // namespace quillmoria
