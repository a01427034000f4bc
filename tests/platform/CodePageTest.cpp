#include "platform/CodePage.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/TemporaryFolder.h"

using quillmoria::ansiToWide;
using quillmoria::utf8ToWide;
using quillmoria::wideToAnsi;
using quillmoria::wideToUtf8;

TEST(Utf8, BecomesUtf16WithOneReplacementForEachBrokenSequence) {
  struct Case {
    std::string utf8;
    std::u16string wide;
  };
  for (const auto& [utf8, wide] : {
           Case{"", u""},
           {std::string("a\0b", 3), {u'a', 0, u'b'}},
           {"0123456\u00E90123456789\u20AC\U0001F6A7\U0010FFFF", u"0123456\u00E90123456789\u20AC\U0001F6A7\U0010FFFF"},
           {"\x80z\xFF", u"\xFFFDz\xFFFD"},
           {"\xC0\xAF", u"\xFFFD\xFFFD"},                              // overlong
           {"\xE0\x9F\xBF", u"\xFFFD\xFFFD\xFFFD"},                    // overlong
           {"\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD"},                    // a surrogate
           {"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"},          // above U+10FFFF
           {"\xE2\x82z\xF0\x9F\x9A\xC3\xA9", u"\xFFFDz\xFFFD\u00E9"},  // cut short by other characters
           {"1234567\xE2\x82", u"1234567\xFFFD"},                      // cut short by the end
       }) {
    EXPECT_EQ(utf8ToWide(utf8), wide) << utf8;
  }
}

TEST(Utf8, IsAppendedBehindWhatIsThere) {
  std::u16string wide = u"\u00E9";
  quillmoria::appendUtf16(wide, "\u20AC, a longer text");
  EXPECT_EQ(wide, u"\u00E9\u20AC, a longer text");
}

TEST(Utf16, BecomesUtf8WithLoneSurrogatesReplaced) {
  const std::string utf8 = "a\x7F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
  EXPECT_EQ(wideToUtf8(utf8ToWide(utf8)), utf8);
  EXPECT_EQ(wideToUtf8(std::u16string{0xDC00, u'a', 0xD800}), "\uFFFDa\uFFFD");
}

struct Environment {
  const char* codePage;
  const char* locale;
  std::string ansi;  ///< of the text below
};

class AnsiCodePage : public testing::TestWithParam<Environment> {};

/// The code page is read once in a process, so each row has a process of its own.
TEST_P(AnsiCodePage, IsTheEnvironments) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const EnvironmentVariable codePage("QUILLMORIA_CODEPAGE", GetParam().codePage);
  const EnvironmentVariable locale("LC_ALL", GetParam().locale);
  const std::u16string text = u"ab\u00E9\u20AC\u4E2D\U0001F6A7z";
  const auto convert = [&] {
    const bool isUtf8 = GetParam().ansi == wideToUtf8(text);
    const bool back =
        ansiToWide(GetParam().ansi) == (isUtf8 ? text : u"ab\u00E9\u20AC??z") && ansiToWide("ab") == u"ab";
    std::exit(wideToAnsi(text) == GetParam().ansi && wideToAnsi(u"ab") == "ab" && back ? 0 : 1);
  };
  EXPECT_EXIT(convert(), testing::ExitedWithCode(0), "");
}

const std::string kUtf8 = "ab\u00E9\u20AC\u4E2D\U0001F6A7z";
INSTANTIATE_TEST_SUITE_P(Environments, AnsiCodePage,
                         testing::Values(Environment{"1252", "C", "ab\xE9\x80??z"},
                                         Environment{"858", "C.UTF-8", "ab\x82\xD5??z"},
                                         Environment{"65001", "C", kUtf8}, Environment{"4711", "C", kUtf8},
                                         Environment{nullptr, "C", kUtf8}, Environment{nullptr, "C.UTF-8", kUtf8},
                                         Environment{nullptr, "no_SUCH", kUtf8}));

TEST(AnsiCodePageOf1252, HasBytesWithoutMeaning) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const EnvironmentVariable codePage("QUILLMORIA_CODEPAGE", "1252");
  EXPECT_EXIT(std::exit(ansiToWide("a\x81\xE9") == u"a\xFFFD\u00E9" ? 0 : 1), testing::ExitedWithCode(0), "");
}
