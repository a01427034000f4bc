#include "platform/Text.h"

#include <gtest/gtest.h>

#include "support/Table.h"

using quillmoria::toInt32;

TEST(Numbers, AreReadUpToTheFirstOtherCharacterAndStopAtTheirBounds) {
  for (const auto& [text, number] : readTable<2>("platform/numbers.tsv")) {
    EXPECT_EQ(std::to_string(quillmoria::toInt64(text)), number) << text;
  }
  EXPECT_TRUE(toInt32("-2147483649") == INT32_MIN && toInt32("-12") == -12 && toInt32("2147483648") == INT32_MAX);
}

TEST(LineBreaks, AreTrimmedWithTabsButNotWithSpaces) {
  EXPECT_EQ(quillmoria::trimLineBreaks("\r\n\t a\tb \n"), " a\tb ");
  EXPECT_EQ(quillmoria::trimLineBreaks("\n\t\r"), "");
}
