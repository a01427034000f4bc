#include <gmock/gmock.h>

#include "quillmoria/NewsArchive.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

/// Archives that earlier versions have left, each with the same contents, named after the version of its tables.
class ArchiveOfVersion : public testing::TestWithParam<const char*> {
 protected:
  ArchiveOfVersion() { base_.write("archive.sqlite", readSample(std::string("archive/") + GetParam() + ".sqlite")); }

  TemporaryBaseFolder base_;
};

ItemQuery search(const std::string& words) {
  ItemQuery query;
  query.words = words;
  return query;
}

TEST_P(ArchiveOfVersion, IsReadWhole) {
  NewsArchive archive(base_.name());
  EXPECT_THAT(archive.Check(), testing::IsEmpty());

  const std::vector<ArchivedFeed> feeds = archive.Feeds();
  ASSERT_EQ(feeds.size(), 2U);
  EXPECT_EQ(feeds[0].name, "日記");
  const ArchivedFeed& news = feeds[1];
  EXPECT_EQ(news.url + ' ' + news.category + ' ' + news.title + ' ' + news.format + ' ' + news.lastStatus,
            "https://news.example/feed World The News RSS 2.0 OK");
  EXPECT_EQ(news.lastOutcome, Outcome::NotModified);
  EXPECT_EQ(news.lastSuccess, CTime(1700000300));
  EXPECT_EQ(news.itemCount, 2);
  EXPECT_EQ(news.unreadCount, 1);

  const std::vector<ArchivedItem> items = archive.Items(ItemQuery()).items;
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].item.title + ' ' + items[1].item.title + ' ' + items[2].item.title,
            "Second 東京スカイツリー First");
  EXPECT_TRUE(items[1].isStarred);
  EXPECT_TRUE(items[2].isRead);
  EXPECT_EQ(items[0].lastSeen, CTime(1700000300));
  EXPECT_EQ(archive.Item(1)->item.description, "<p>The quick brown fox</p>");
  EXPECT_EQ(archive.Item(1)->details.enclosures.at(0).type, "audio/mpeg");

  EXPECT_EQ(archive.Items(search("creme another")).items.size(), 1U);
  EXPECT_EQ(archive.Items(search("ツリー")).items.size(), 1U);
  EXPECT_EQ(archive.Retention().itemsPerFeed, 200);
  EXPECT_EQ(archive.Statistics().items, 3);
}

TEST_P(ArchiveOfVersion, IsChangedAndRepaired) {
  NewsArchive archive(base_.name());
  const std::int64_t ids[] = {2};
  EXPECT_EQ(archive.MarkItems(ids, ItemMark::Read).size(), 1U);
  EXPECT_TRUE(archive.RenameFeed("http://news.example/feed", "Renamed", ""));
  EXPECT_EQ(archive.Feeds().at(0).name, "Renamed");
  EXPECT_TRUE(archive.RemoveFeed("https://kana.example/atom"));
  EXPECT_EQ(archive.Items(ItemQuery()).items.size(), 3U);
  EXPECT_EQ(NewsArchive::Repair(base_.name()).items, 3);
}

INSTANTIATE_TEST_SUITE_P(Versions, ArchiveOfVersion, testing::Values("1"));

}  // namespace
