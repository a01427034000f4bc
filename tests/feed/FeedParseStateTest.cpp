#include "feed/FeedParseState.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "platform/CodePage.h"
#include "quillmoria/ConnectedState.h"
#include "support/Corpus.h"
#include "support/Dump.h"
#include "support/Table.h"
#include "support/TimeZone.h"

namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// The documents of our own, without their extension; what is expected of each stands beside it.
std::vector<std::string> samples() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(QUILLMORIA_SAMPLES "/feed")) {
    if (entry.path().extension() == ".xml") names.push_back(entry.path().stem());
  }
  return names;
}

class FeedParse : public testing::Test {
 protected:
  FeedParse() { SetConnectedState(ConnectedState::Disconnected); }
  ~FeedParse() override { SetConnectedState(ConnectedState::Automatic); }

  static RSSObject parse(std::string_view document) {
    RSSObject feed({}, nullptr, -1);
    FeedParseState(feed).parse(document);
    return feed;
  }
  std::string dump(std::string_view document) const { return ::dump(parse(document), started_); }

  const TimeZone zone_{"Europe/Berlin"};
  const CTime started_ = CTime::GetCurrentTime();
};

class FeedSample : public FeedParse, public testing::WithParamInterface<std::string> {};

}  // namespace

TEST_P(FeedSample, ReadsAsItsTextInAnyLineEndsAndEncoding) {
  const std::string document = readSample("feed/" + GetParam() + ".xml");
  const std::string expected = readSample("feed/" + GetParam() + ".txt");
  EXPECT_EQ(dump(document), expected);
  EXPECT_EQ(dump(replaced(document, "\n", "\r\n")), expected);
  if (document.find("encoding=") != std::string::npos) return;

  const std::u16string wide = u"\xFEFF" + quillmoria::utf8ToWide(document);
  EXPECT_EQ(dump("\xEF\xBB\xBF" + document), expected);
  EXPECT_EQ(dump({reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(char16_t)}), expected);
}

INSTANTIATE_TEST_SUITE_P(Documents, FeedSample, testing::ValuesIn(samples()),
                         [](const auto& sample) { return replaced(replaced(sample.param, "-", "_"), ".", "_"); });

TEST_F(FeedParse, IsFinishedExactlyFromTheFinishingTagOnAndHasOneItemMoreWithEachItemTag) {
  std::string items;
  for (int i = 0; items.size() < 12'000; ++i) {
    const std::string number = std::to_string(i);
    items += "<item a='&lt;\u00e9'><title>t\u00e9&amp;" + number + "</title><link>l" + number + "</link><description>" +
             "<![CDATA[<table>]]>&#x1F6A2;</description><pubDate>Mon, 1 Jan 2001 00:00:00</pubDate></item>\n";
  }
  const std::string document = "<rss><channel>" + items + "</channel></rss>";
  const RSSObject whole = parse(document);
  const std::size_t finish = document.find("</channel>") + std::string_view("</channel>").size();
  std::size_t parsed = 0;
  for (std::size_t length = 0; length <= document.size(); ++length) {
    if (std::string_view(document).substr(0, length).ends_with("</item>")) ++parsed;
    const RSSObject feed = parse(std::string_view(document).substr(0, length));
    ASSERT_EQ(feed.itemCount, length < finish ? -1 : whole.itemCount) << length;
    ASSERT_EQ(feed.items == nullptr, length < finish) << length;
    ASSERT_EQ(feed.parsedItems.size(), parsed) << length;
    if (parsed > 0) {
      ASSERT_EQ(feed.parsedItems.back().titleW, whole.parsedItems[parsed - 1].titleW) << length;
    }
  }
}

TEST_F(FeedParse, OfARealDocumentKeepsItsRulesWhereverThatIsCutOrABitOfItFlipped) {
  const auto countItems = [](std::string_view document) {
    const RSSObject feed = parse(document);
    EXPECT_EQ(feed.items == nullptr, feed.itemCount == -1);
    for (std::int32_t i = 0; i < feed.itemCount; ++i) EXPECT_FALSE(feed.items[i].link.empty());
    return feed.parsedItems.size();
  };
  for (const auto& [name, document] : readCorpus()) {
    std::size_t parsed = 0;
    for (std::size_t percent = 0; percent < 100 && !document.empty(); ++percent) {
      SCOPED_TRACE(name + " at " + std::to_string(percent) + " %");
      const std::size_t at = document.size() * percent / 100;
      const std::size_t before = std::exchange(parsed, countItems(std::string_view(document).substr(0, at)));
      ASSERT_GE(parsed, before);
      std::string flipped = document;
      flipped[at] ^= static_cast<char>(1 << percent % 8);
      countItems(flipped);
    }
  }
}
