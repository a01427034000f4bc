#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>

#include "modern/html/Html.h"
#include "modern/html/Page.h"
#include "quillmoria/Html.h"
#include "support/Table.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view kBase = "http://base.example/d/page?q";

/// A page that repeats something, cut to what a feed may hold at once.
std::string repeated(const std::string& before, const std::string& part, const std::string& behind, std::size_t bytes) {
  std::string page = before;
  while (page.size() < bytes) page += part;
  return page + behind;
}

std::string linksOf(const std::string& html) {
  std::string told;
  for (const quillmoria::PageLink& link : quillmoria::feedLinks(html, kBase)) {
    told += (told.empty() ? "" : "; ") + link.title + "|" + link.url + "|" + link.type;
  }
  return told;
}

}  // namespace

TEST(Html, IsSafeAndShowsWhatWasToBeSeen) {
  for (const auto& [html, expected] : readTable<2>("modern/sanitize.tsv")) {
    const std::string safe = SanitizeHtml(html, kBase);
    EXPECT_EQ(safe, expected) << html;
    EXPECT_EQ(SanitizeHtml(safe, kBase), safe) << html;
  }
}

TEST(Html, KeepsNoRelativeAddressWithoutOneOfTheWebToResolveItBy) {
  const std::string html = "<a href=x>a</a><img src=//b.example/c srcset='d 2x'><iframe src=e></iframe>";
  for (const std::string_view base : {"", "d/e", "javascript:x", "data:text/html,x", "file:///etc/"}) {
    EXPECT_EQ(SanitizeHtml(html, base), "a") << base;
  }
}

TEST(Html, IsPlainTextAsAReaderSeesIt) {
  for (const auto& [html, expected] : readTable<2>("modern/plain-text.tsv"))
    EXPECT_EQ(PlainText(html), expected) << html;
}

TEST(Html, IsMadeOfTextThatIsNone) {
  EXPECT_EQ(quillmoria::htmlOfText("a <b>\n&amp;\n\nc\n"), "a &lt;b&gt;<br>&amp;amp;<br><br>c<br>");
}

TEST(Html, DoesNotGrowBeyondBoundsByALongBase) {
  const std::string links = repeated("", "<a href=q>x", "", 10'000);
  const std::string base = "https://base.example/" + std::string(10'000, 'b') + "/";
  EXPECT_LT(SanitizeHtml(links, base).size(), 40'000'000);
}

TEST(Html, NestsTo256Elements) {
  const std::string deep = repeated("", "<b>", "x", 3000);
  std::string expected = repeated("", "<b>", "x", 3 * 256);
  for (int i = 0; i < 256; ++i) expected += "</b>";
  EXPECT_EQ(SanitizeHtml(deep), expected);
}

TEST(Html, TakesTimeAndRoomInProportionToTheText) {
  constexpr std::size_t kBytes = 1'000'000;
  constexpr std::chrono::seconds kDeadline{10};
  for (const auto& [part, before, behind] : readTable<3>("modern/repeated.tsv")) {
    const std::string page = repeated(before, part, behind, kBytes);
    const Clock::time_point start = Clock::now();
    EXPECT_LT(SanitizeHtml(page, kBase).size(), 8 * kBytes) << before << part;
    EXPECT_LE(PlainText(page).size(), 3 * kBytes) << before << part;
    linksOf(page);
    EXPECT_LT(Clock::now() - start, kDeadline) << before << part;
  }
}

TEST(Page, NamesItsFeeds) {
  for (const auto& [html, expected] : readTable<2>("modern/feed-links.tsv")) EXPECT_EQ(linksOf(html), expected) << html;
}

TEST(Page, NamesAtMost100Feeds) {
  std::string page;
  for (int i = 0; i < 150; ++i) page += "<link rel=feed href=/" + std::to_string(i) + ">";
  EXPECT_EQ(quillmoria::feedLinks(page, kBase).size(), 100);
}

TEST(Page, IsToldFromAFeed) {
  for (const std::string_view page : {"<!DOCTYPE html>\n<HTML lang=en>", "\xEF\xBB\xBF <!-- x --><html>", "<head>",
                                      "<BODY>", "<?xml version='1.0'?><!DOCTYPE html PUBLIC 'x'><html xmlns='y'>"}) {
    EXPECT_TRUE(quillmoria::isWebPage(page)) << page;
  }
  for (const std::string_view other :
       {"", "<rss><channel><description><![CDATA[<html><body>]]>", "html", "<!-- <html> -->", "<opml><head>",
        "<feed><content type='html'>&lt;html>", "<header>"}) {
    EXPECT_FALSE(quillmoria::isWebPage(other)) << other;
  }
}
