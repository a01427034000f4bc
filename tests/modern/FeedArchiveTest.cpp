#include "modern/archive/FeedArchive.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "modern/FeedObject.h"
#include "modern/ModernSource.h"
#include "modern/archive/Schema.h"
#include "modern/reading/ReadFeed.h"
#include "modern/web/WebState.h"
#include "support/Corpus.h"
#include "support/LoopbackServer.h"
#include "support/NewsDump.h"
#include "support/TemporaryFolder.h"

using namespace quillmoria;

namespace {

constexpr char kUrl[] = "http://feeds.example.org/folder/feed";

FetchReport fetched() {
  FetchReport report;
  report.outcome = Outcome::Fetched;
  report.asked = 1'000'000'000;
  return report;
}

std::string itemsOf(const std::string& names) {
  std::string items;
  for (const char name : names) {
    items += std::string("<item><title>") + name + "</title><guid>" + name + "</guid></item>";
  }
  return items;
}

std::string documentOf(const std::string& items) {
  return "<rss version='2.0'><channel><title>T</title><link>http://example.org/</link>" + items + "</channel></rss>";
}

/// An archive that documents are put into without a server.
class SettledDocuments : public testing::Test {
 protected:
  SettledDocuments() { webState.build(); }

  /// "new/all" of `document`, where it could not be kept followed by "!".
  std::string settle(const std::string& document, const std::string& key = kUrl) {
    last_ = readFeed(document, "", key).news;
    makeDetails(*last_);
    const bool isKept = FeedArchive(base_.name()).settle(key, fetched(), *last_);
    return std::to_string(last_->newItemCount) + "/" + std::to_string(last_->itemCount) + (isKept ? "" : "!");
  }

  std::unique_ptr<RSSObject> stored(const std::string& key = kUrl) const {
    return FeedArchive(base_.name()).document(key, kSeenItem);
  }

  std::string titles(const std::string& sql) const {
    Database archive = openArchive(base_.name());
    std::string all;
    for (Rows rows = archive.rows(sql); rows.next();) all += rows.text(0);
    return all;
  }

  void change(const char* sql) const { openArchive(base_.name()).execute(sql); }

  TemporaryBaseFolder base_;
  std::unique_ptr<RSSObject> last_;
};

TEST_F(SettledDocuments, ComeBackWithAllThatTheyHad) {
  int number = 0;
  FeedArchive archive(base_.name());
  for (const auto& [path, document] : readCorpus()) {
    const std::unique_ptr<RSSObject> fresh = readFeed(document, "", kUrl).news;
    if (fresh->itemCount <= 0) continue;
    FeedDetails& details = makeDetails(*fresh);
    const std::string key = std::string(kUrl) + std::to_string(number++);
    ASSERT_TRUE(archive.settle(key, fetched(), *fresh)) << path;
    const std::unique_ptr<RSSObject> kept = archive.document(key, kSeenItem);
    ASSERT_TRUE(kept) << path;
    // What is said by the fetch, not by the document.
    details.finalUrl.clear();
    details.format.clear();
    details.wasRepaired = false;
    kept->statusMessage = fresh->statusMessage;
    ASSERT_EQ(dumpNews(*kept), dumpNews(*fresh)) << path;
    for (std::size_t i = 0; i < details.items.size(); ++i) {
      ASSERT_EQ(kept->GetDetails()->items[i].id, details.items[i].id) << path;
      ASSERT_EQ(kept->GetDetails()->items[i].firstSeen, details.items[i].firstSeen) << path;
    }
    ASSERT_EQ(archive.settle(key, fetched(), *fresh), true) << path;
    ASSERT_EQ(fresh->newItemCount, 0) << path;
  }
  EXPECT_GT(number, 5);
  openArchive(base_.name()).execute("INSERT INTO search(search, rank) VALUES('integrity-check', 1)");
}

TEST_F(SettledDocuments, KeepWhenAnItemWasSeenFirst) {
  EXPECT_EQ(settle(documentOf(itemsOf("a"))), "1/1");
  const std::int64_t id = last_->GetDetails()->items[0].id;
  change("UPDATE items SET first_seen = 1000");
  EXPECT_EQ(settle(documentOf(itemsOf("ba"))), "1/2");
  EXPECT_EQ(last_->items[1].date, CTime(1000));
  EXPECT_EQ(last_->GetDetails()->items[1].firstSeen, CTime(1000));
  EXPECT_EQ(last_->GetDetails()->items[1].id, id);
}

TEST_F(SettledDocuments, AreListedByTheirTimeThatIsNeverOfTheFuture) {
  settle(
      documentOf("<item><title>a</title></item><item><title>b</title><pubDate>1 Jan 2001 00:00 GMT</pubDate></item>"
                 "<item><title>c</title><pubDate>1 Jan 2037 00:00 GMT</pubDate></item><item><title>d</title></item>"));
  EXPECT_EQ(titles("SELECT title FROM items ORDER BY moment DESC"), "acdb");
}

TEST_F(SettledDocuments, WriteOnlyWhatIsNewOrHasChanged) {
  settle(documentOf(itemsOf("cba")));
  change("CREATE TABLE touched(title TEXT); UPDATE items SET last_seen = 1");
  // A row that is written anew loses the mark.
  change("UPDATE items SET record_key = record_key; UPDATE texts SET language = 'mark'");
  EXPECT_EQ(settle(documentOf(itemsOf("dcba"))), "1/4");
  EXPECT_EQ(titles("SELECT title FROM items JOIN texts ON item = moment WHERE language = 'mark' ORDER BY place"),
            "cba");
  EXPECT_EQ(titles("SELECT title FROM items ORDER BY place"), "dcba");
  settle(documentOf(itemsOf("adx")));
  EXPECT_EQ(titles("SELECT title FROM items WHERE place IS NOT NULL ORDER BY place"), "adx");
}

TEST_F(SettledDocuments, AreForgottenOnceTheyAreReadAndOldAndMany) {
  settle(documentOf(itemsOf("abcdef")));
  change("INSERT INTO settings VALUES('items_per_feed', 2), ('days', 10)");
  settle(documentOf(itemsOf("x")));
  change("UPDATE items SET last_seen = 1000, read = title <> 'c', starred = title = 'd' WHERE title <> 'e'");
  settle(documentOf(itemsOf("yx")));
  // The newest two, the unread, the starred, the one seen within ten days.
  EXPECT_EQ(titles("SELECT title FROM items ORDER BY title"), "cdexy");
  change("INSERT INTO search(search, rank) VALUES('integrity-check', 1)");
}

/// A feed on a server, pulled by sources that come one after another, as in processes of their own.
class ArchivePull : public SettledDocuments {
 protected:
  ArchivePull() {
    http_.answer("/", LoopbackServer::response("200 OK", "", documentOf(itemsOf("ab"))));
    feed_.name = "Feed";
    feed_.url = http_.url("/");
  }

  static std::string shown(const RSSObject& news) {
    return std::string(OutcomeName(news.GetDetails()->outcome)) + " " + std::to_string(news.itemCount) + "/" +
           std::to_string(news.newItemCount) + (news.WasStored() ? "" : " not stored");
  }

  std::string pull(ModernSource& source) {
    last_ = source.fetch(feed_);
    source.settle(*last_);
    return shown(*last_);
  }
  std::string pull() {
    ModernSource source(base_.name());
    return pull(source);
  }
  std::string offline() {
    last_ = ModernSource(base_.name()).fromStore(feed_);
    return shown(*last_);
  }

  std::string pullThenOffline() {
    const std::string pulled = pull();
    return pulled + ", " + offline();
  }

  std::string archivePath() const { return base_ / "archive.sqlite"; }

  LoopbackServer http_;
  RSSObject::NewsFeed feed_;
};

TEST_F(ArchivePull, BeginsAnewWhereTheArchiveIsDamagedAndSaysSo) {
  const std::pair<const char*, std::function<void()>> kDamages[] = {
      {"no database", [&] { base_.write("archive.sqlite", std::string(5000, 'x')); }},
      {"cut off", [&] { std::filesystem::resize_file(archivePath(), 20'000); }},
      {"another program's",
       [&] {
         std::filesystem::remove(archivePath());
         Database(archivePath()).execute("CREATE TABLE other(x)");
       }},
  };
  for (const auto& [name, damage] : kDamages) {
    pull();
    damage();
    ModernSource source(base_.name());
    EXPECT_EQ(pull(source), "Fetched 2/2") << name;
    EXPECT_THAT(last_->statusMessage, testing::HasSubstr("begun anew")) << name;
    const std::string aside = last_->statusMessage.substr(last_->statusMessage.find('/'));
    EXPECT_TRUE(std::filesystem::exists(aside)) << aside;
    EXPECT_EQ(pull(source), "NotModified 2/0") << name;
    EXPECT_THAT(last_->statusMessage, testing::HasSubstr(aside)) << "another feed of the same pull";
    EXPECT_EQ(pull(), "NotModified 2/0") << name;
    EXPECT_EQ(last_->statusMessage, "OK") << name;
  }
}

TEST_F(ArchivePull, GoesOnWhereTheArchiveIsMovedAwayMeanwhile) {
  ModernSource source(base_.name());
  EXPECT_EQ(pull(source), "Fetched 2/2");
  std::filesystem::rename(archivePath(), archivePath() + ".old");
  EXPECT_EQ(pull(source), "Fetched 2/2");
  EXPECT_EQ(offline(), "Offline 2/0 not stored");
}

TEST_F(ArchivePull, DeliversFeedsWhereTheArchiveCannotBeHad) {
  setPatience(std::chrono::milliseconds(50));
  const auto replace = [&](const std::function<void()>& make) {
    std::filesystem::remove_all(archivePath());
    make();
  };
  replace([&] { std::filesystem::create_directory(archivePath()); });
  EXPECT_EQ(pullThenOffline(), "Fetched 2/2 not stored, Offline -1/0 not stored") << "a folder";
  replace([&] { std::filesystem::create_symlink("elsewhere", archivePath()); });
  EXPECT_EQ(pullThenOffline(), "Fetched 2/2 not stored, Offline -1/0 not stored") << "a link";
  replace([&] { openArchive(base_.name()).execute("PRAGMA user_version = 99"); });
  EXPECT_EQ(pullThenOffline(), "Fetched 2/2 not stored, Offline -1/0 not stored") << "a newer version's";
  EXPECT_EQ(last_->statusMessage, "Resource not cached");
  replace([&] { pull(); });
  {
    Database other = openArchive(base_.name());
    const Transaction writing(other);
    http_.answer("/", LoopbackServer::response("200 OK", "", documentOf(itemsOf("cab"))));
    EXPECT_EQ(pull(), "Fetched 3/1 not stored") << "what can be read is compared";
    EXPECT_EQ(last_->GetDetails()->items[0].id, 0);
    EXPECT_EQ(offline(), "Offline 2/0 not stored");
  }
  EXPECT_EQ(pull(), "Fetched 3/1");
  setPatience(std::chrono::seconds(5));
}

TEST_F(ArchivePull, KeepsFactsThatAreSeenByOthers) {
  http_.answer("/", LoopbackServer::response("404 Not Found", "", ""));
  pull();
  pull();
  http_.answer("/", LoopbackServer::response("410 Gone", "", ""));
  pull();
  Database archive = openArchive(base_.name());
  Rows row = archive.rows("SELECT failures, is_gone, last_status, name FROM feeds");
  ASSERT_TRUE(row.next());
  EXPECT_EQ(row.integer(0), 3);
  EXPECT_EQ(row.integer(1), 1);
  EXPECT_EQ(row.text(2), "HTTP 410 Gone");
  feed_.url = http_.url("/").insert(7, "me:secret@");
  feed_.name = "Other";
  pull();
  EXPECT_EQ(titles("SELECT name || ' ' || url FROM feeds"), "Other " + http_.url("/")) << "no credentials";
  EXPECT_FALSE(ModernSource(base_.name()).isDue(feed_));
}

}  // namespace
