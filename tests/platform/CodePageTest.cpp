#include "platform/CodePage.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/Table.h"
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
    std::u16string longer = u"\u00E9";
    quillmoria::appendUtf16(longer, utf8);
    EXPECT_EQ(longer, u"\u00E9" + wide) << utf8;
  }
}

TEST(Utf16, BecomesUtf8WithLoneSurrogatesReplaced) {
  const std::string utf8 = "a\x7F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
  EXPECT_EQ(wideToUtf8(utf8ToWide(utf8)), utf8);
  EXPECT_EQ(wideToUtf8(std::u16string{0xDC00, u'a', 0xD800}), "\uFFFDa\uFFFD");
}

TEST(AnsiCodePage, IsTheEnvironments) {
  // The code page is read once in a process, so each row has a process of its own.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const auto& [page, locale, ansi, back] : readTable<4>("platform/code-pages.tsv")) {
    const EnvironmentVariable codePage("QUILLMORIA_CODEPAGE", page.empty() ? nullptr : page.c_str());
    const EnvironmentVariable all("LC_ALL", locale.c_str());
    const auto convert = [&ansi = ansi, &back = back] {
      const std::u16string text = u"ab\u00E9\u20AC\u4E2D\U0001F6A7z";
      const bool isSame = wideToAnsi(text) == ansi && wideToAnsi(u"ab") == "ab" && ansiToWide("ab") == u"ab";
      std::exit(isSame && wideToUtf8(ansiToWide(ansi + "\x81")) == back ? 0 : 1);
    };
    EXPECT_EXIT(convert(), testing::ExitedWithCode(0), "") << page << " " << locale;
  }
}
