#include "host/Text.h"

#include <gmock/gmock.h>

#include <string>

using namespace std::string_literals;

namespace quillmoria {
namespace {

struct Line {
  std::string text;
  std::string printable;
  const char* why;
};

class PrintableText : public testing::TestWithParam<Line> {};

TEST_P(PrintableText, IsOneHarmlessLineOfUtf8) { EXPECT_EQ(printable(GetParam().text), GetParam().printable); }

INSTANTIATE_TEST_SUITE_P(
    Texts, PrintableText,
    testing::Values(Line{"plain", "plain", "nothing to do"}, Line{"a\tb\r\nc", "a b  c", "white space"},
                    Line{"\x1b[31mred\a\x7f", "[31mred", "terminal controls"}, Line{"nul\0!"s, "nul!", "zero byte"},
                    Line{"\xC2\x9B"
                         "2J\xC2\x85.",
                         "2J .", "controls of two bytes"},
                    Line{"a\u202E\u2066\u200Fb\u2028c", "ab c", "writing direction"},
                    Line{"é 漢 😀", "é 漢 😀", "two, three and four bytes"},
                    Line{"\xE9t\xE9", "\uFFFDt\uFFFD", "another encoding"},
                    Line{"\xE2\x82", "\uFFFD\uFFFD", "cut short"},
                    Line{"\xC0\x9B", "\uFFFD\uFFFD", "overlong, two bytes"},
                    Line{"\xE0\x82\x9B", "\uFFFD", "overlong, three bytes"},
                    Line{"\xED\xA0\x80", "\uFFFD", "surrogate"}, Line{"\xF4\x90\x80\x80", "\uFFFD", "beyond Unicode"}),
    [](const auto& row) {
      std::string name = row.param.why;
      std::erase_if(name, [](char c) { return c == ' ' || c == ','; });
      return name;
    });

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
