#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

TEST(Numbers, AreReadUpToTheFirstOtherCharacterAndStopAtTheirBounds) {
  struct Case {
    std::string_view text;
    std::int64_t number;
  };
  constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  for (const auto& [text, number] : {Case{"", 0},
                                     {" \t\n\v\f\r", 0},
                                     {"-", 0},
                                     {"+-1", 0},
                                     {"x1", 0},
                                     {" \v-042px", -42},
                                     {"+7 8", 7},
                                     {"9223372036854775807", kHighest},
                                     {"9223372036854775808", kHighest},
                                     {"-9223372036854775808", kLowest},
                                     {"-99999999999999999999", kLowest}}) {
    EXPECT_EQ(quillmoria::toInt64(text), number) << text;
  }
  EXPECT_EQ(quillmoria::toInt32("-2147483648"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(quillmoria::toInt32("-2147483649"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(quillmoria::toInt32("2147483648"), std::numeric_limits<std::int32_t>::max());
}

TEST(LineBreaks, AreTrimmedWithTabsButNotWithSpaces) {
  EXPECT_EQ(quillmoria::trimLineBreaks("\r\n\t a\tb \n"), " a\tb ");
  EXPECT_EQ(quillmoria::trimLineBreaks("\n\t\r"), "");
}
