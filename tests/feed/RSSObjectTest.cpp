#include "quillmoria/RSSObject.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/Dump.h"
#include "support/Table.h"

TEST(FetchedFeed, SaysWhatItWasFetchedFor) {
  RSSObject::NewsFeed asked;
  asked.category = "Boats";
  asked.name = "Ferry";
  const RSSObject feed(asked, "note", "");
  EXPECT_EQ(feed.GetCategory() + feed.channel.feedName + feed.channel.sourceNote, "BoatsFerrynote");
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
  const RSSObject::ImageStruct image{"t", "u", "l", "d", 10, 20, u"x"};
  RSSObject feed({"t", u"t", "l", "d", u"d", "en", image, 5, "daily", 4, "name", 6, "note"}, nullptr, 0);
  feed.parsedItems = {{"t", u"t", "l", "d", u"d", u"c", u"g", true, 5, "GMT", 3}};
  feed.channel.reset();
  feed.parsedItems[0].reset();
  EXPECT_EQ(feed.channel.image.url + feed.channel.feedName + feed.channel.sourceNote, "unamenote");
  feed.channel.image.reset();
  EXPECT_EQ(dump(feed, 6), "feed\n  itemCount=0\nchannel\n  image.width=1\nparsed\n");
  EXPECT_EQ(feed.parsedItems[0].status, 3);
}

TEST(ItemText, GetsTheEndTagsThatATableLacks) {
  for (const auto& [html, repaired] : readTable<2>("feed/tables.tsv")) {
    EXPECT_EQ(RSSObject::FormatHTMLString({html.begin(), html.end()}),
              std::u16string(repaired.begin(), repaired.end()));
  }
  // Wherever the table is among tags that are none, also across what is looked at together, and at the very end.
  for (std::size_t before = 0; before < 40; ++before) {
    for (const std::u16string opener : {u"<table", u"<TABLE"}) {
      const std::u16string html = std::u16string(u"<t<Ta<title><p>tatable<tABLE <tabl e").substr(0, before) + opener;
      EXPECT_EQ(RSSObject::FormatHTMLString(html), html + u"</tr></table>") << before;
    }
  }
}
