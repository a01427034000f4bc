#include "quillmoria/RSSObject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "quillmoria/ConnectedState.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace {

class FetchedFeed : public testing::Test {
 protected:
  RSSObject fetch(const std::string& url) {
    RSSObject::NewsFeed feed;
    feed.category = "Boats";
    feed.name = "Ferry";
    feed.url = url;
    return {feed, "note", base_.name()};
  }

  LoopbackServer server_;
  TemporaryBaseFolder base_;
};

}  // namespace

TEST_F(FetchedFeed, HoldsItsDocumentsItems) {
  server_.serve("/feed", "<rss><channel><item><link>l</link></item></channel></rss>");
  const RSSObject feed = fetch(server_.url("/feed"));
  EXPECT_EQ(feed.statusMessage, "OK");
  ASSERT_EQ(feed.itemCount, 1);
  EXPECT_EQ(feed.getNewsItems()[0].link, "l");
  EXPECT_EQ(feed.GetCategory() + feed.channel.feedName + feed.channel.sourceNote, "BoatsFerrynote");
}

TEST_F(FetchedFeed, WithoutItemsHasAnEmptyArray) {
  server_.serve("/feed", "<rss><channel></channel></rss>");
  const RSSObject feed = fetch(server_.url("/feed"));
  EXPECT_EQ(feed.itemCount, 0);
  EXPECT_NE(feed.items, nullptr);
}

TEST_F(FetchedFeed, SaysWhyThereAreNoItems) {
  server_.serve("/cut", "<rss><channel><item><link>l</link></item>");
  for (const auto& [url, status] : {std::pair(server_.url("/cut"), "Failed to parse feed"), {std::string(), ""}}) {
    const RSSObject feed = fetch(url);
    EXPECT_EQ(feed.statusMessage, status);
    EXPECT_EQ(feed.itemCount, -1);
    EXPECT_EQ(feed.items, nullptr);
    EXPECT_EQ(feed.channel.feedName, "Ferry");
  }
}

TEST_F(FetchedFeed, LoadsNoMoreThanSixteenPictures) {
  SetConnectedState(ConnectedState::Connected);
  std::string images;
  for (int i = 0; i < 20; ++i)
    images += "<image><url>" + server_.url("/" + std::to_string(i) + ".png") + "</url></image>";
  server_.serve("/feed", "<rss><channel>" + images + "</channel></rss>");
  const RSSObject feed = fetch(server_.url("/feed"));
  SetConnectedState(ConnectedState::Automatic);

  const std::vector<std::string> requests = server_.requests();
  EXPECT_EQ(std::count_if(requests.begin(), requests.end(),
                          [](const std::string& head) { return head.find(".png") != std::string::npos; }),
            16);
  EXPECT_EQ(feed.itemCount, 0);
  EXPECT_NE(feed.GetChannelPicture(), nullptr);
}

TEST(StoredFeed, SaysWhenItWasNotStored) {
  EXPECT_EQ(RSSObject({}, new RSSObject::NewsItemStruct[3], 3).statusMessage, "");
  EXPECT_EQ(RSSObject({}, nullptr, -1).statusMessage, "Resource not cached");
}

TEST(CopiedFeed, HasItemsOfItsOwnAndSharesThePicture) {
  auto* items = new RSSObject::NewsItemStruct[2];
  items[0].link = "first";
  RSSObject feed({}, items, 1);  // one entry more than counted
  feed.channelPicture = new CPicture;
  feed.channelPicture->picture = std::make_shared<const IPicture>(1, 1, std::vector<std::uint8_t>(4));

  RSSObject copy = feed;
  copy.items[0].link = "changed";
  EXPECT_EQ(feed.items[0].link, "first");
  EXPECT_NE(copy.channelPicture, feed.channelPicture);
  EXPECT_EQ(copy.channelPicture->picture, feed.channelPicture->picture);

  copy = feed;
  copy = *&copy;
  EXPECT_EQ(copy.items[0].link, "first");
  feed = RSSObject({}, nullptr, -1);
  EXPECT_EQ(feed.items, nullptr);
  EXPECT_EQ(feed.GetChannelPicture(), nullptr);
}

TEST(Records, KeepWhatAResetDoesNotName) {
  RSSObject::ImageStruct image{"t", "u", "l", "d", 10, 20, u"x"};
  image.reset();
  EXPECT_EQ(std::tuple(image.title, image.width, image.height), std::tuple("", 1, -1));

  RSSObject::ChannelStruct channel{"t", u"t", "l", "d", u"d", "en", {}, 5, "daily", 4, "name", 6, "note"};
  channel.image.url = "u";
  channel.reset();
  EXPECT_EQ(std::tuple(channel.title, channel.updateFrequency), std::tuple("", -1));
  EXPECT_EQ(channel.image.url + channel.feedName + channel.sourceNote, "unamenote");

  RSSObject::NewsItemStruct item{"t", u"t", "l", "d", u"d", u"c", u"g", true, 5, "GMT", 3};
  item.reset();
  EXPECT_EQ(std::tuple(item.link, item.guidW, item.isPermaLink, item.date, item.status),
            std::tuple("", u"", false, CTime(), 3));
}

TEST(ItemText, GetsTheEndTagsThatATableLacks) {
  struct Case {
    std::u16string html;
    std::u16string repaired;
  };
  for (const auto& [html, repaired] : {
           Case{u"", u""},
           {u"<", u"<"},
           {u"a</table></tr>", u"a</table></tr>"},
           {u"<Table><tr>", u"<Table><tr>"},
           {u"<table><tr><td>a</td>", u"<table><tr><td>a</td></tr></table>"},
           {u"a<b<TABLE>x</table>y", u"a<b<TABLE>x</tr></table>y"},
           {u"<table>x</TABLE>y", u"<table>x</tr></TABLE>y"},
           {u"<table></TR>", u"<table></TR></table>"},
           {u"<table></TABLE>x</table>", u"<table></TABLE>x</tr></table>"},
           {u"</table>y<table>", u"</tr></table>y<table>"},
           {u"<table><tr></tr></table>", u"<table><tr></tr></table>"},
       }) {
    EXPECT_EQ(RSSObject::FormatHTMLString(html), repaired);
  }
}
