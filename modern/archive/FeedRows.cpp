#include "modern/archive/FeedRows.h"

#include <algorithm>
#include <unordered_map>

#include "modern/web/WebAddress.h"

namespace quillmoria {
namespace {

/// A moment that is 0 where it is unknown.
CTime knownMoment(const Rows& row, int column) { return row.integer(column) > 0 ? row.moment(column) : CTime(); }

Outcome outcomeOf(const Rows& row, int column) {
  constexpr auto kLast = static_cast<std::int64_t>(Outcome::NoMemory);
  const std::int64_t value = row.integer(column);
  const bool isKnown = !row.isNull(column) && value >= 0 && value <= kLast;
  return isKnown ? static_cast<Outcome>(value) : Outcome::Offline;
}

ArchivedFeed readFeed(const Rows& row) {
  ArchivedFeed feed;
  feed.id = row.integer(0);
  feed.url = row.text(1);
  feed.name = row.text(2);
  feed.category = row.text(3);
  feed.title = row.text(4);
  feed.description = row.text(5);
  feed.siteUrl = row.text(6);
  feed.iconUrl = row.text(7);
  feed.format = row.text(8);
  feed.movedTo = row.text(9);
  feed.lastOutcome = outcomeOf(row, 10);
  feed.lastStatus = row.text(11);
  feed.lastAsked = knownMoment(row, 12);
  feed.lastSuccess = knownMoment(row, 13);
  feed.failures = static_cast<std::int32_t>(std::clamp<std::int64_t>(row.integer(14), 0, INT32_MAX));
  const bool isGone = row.integer(15) != 0;
  if (!isGone) feed.nextDue = knownMoment(row, 16);
  return feed;
}

using Counts = std::unordered_map<std::int64_t, std::int64_t>;

Counts readCounts(Database& archive, std::string_view sql) {
  Counts counts;
  for (Rows rows = archive.rows(sql); rows.next();) counts[rows.integer(0)] = rows.integer(1);
  return counts;
}

std::int64_t countOf(const Counts& counts, std::int64_t feed) {
  const auto found = counts.find(feed);
  return found == counts.end() ? 0 : found->second;
}

/// Of a part of a feed's items: some tenths of a second.
constexpr std::int64_t kItemsOfPart = 2000;

void removeItems(Database& archive, std::int64_t feed, std::int64_t before) {
  archive.run(
      "INSERT INTO search(search, rowid, title, authors, plain) SELECT 'delete', searched.moment, searched.title,"
      " searched.authors, searched.plain FROM items JOIN searched ON searched.moment = items.moment"
      " WHERE items.feed = ? AND items.starred = 0 AND items.moment < ?",
      feed, before);
  archive.run("DELETE FROM items WHERE feed = ? AND starred = 0 AND moment < ?", feed, before);
}

void removeBareFeed(Database& archive, std::int64_t feed) {
  archive.run("DELETE FROM addresses WHERE feed = ?", feed);
  if (archive.integer("SELECT count(*) FROM items WHERE feed = ?", feed) == 0) {
    archive.run("DELETE FROM feeds WHERE id = ?", feed);
    return;
  }
  // A row of its own forgets all facts.
  archive.run(
      "UPDATE items SET last_seen = (SELECT max(last_success, items.last_seen) FROM feeds WHERE id = items.feed),"
      " place = NULL WHERE feed = ? AND place IS NOT NULL",
      feed);
  archive.run("INSERT INTO feeds(url, name, category) SELECT url || ' ', name, category FROM feeds WHERE id = ?", feed);
  const std::int64_t bare = archive.integer("SELECT last_insert_rowid()");
  archive.run("UPDATE items SET feed = ? WHERE feed = ?", bare, feed);
  archive.run("DELETE FROM feeds WHERE id = ?", feed);
  archive.run("UPDATE feeds SET url = substr(url, 1, length(url) - 1) WHERE id = ?", bare);
}

}  // namespace

std::vector<ArchivedFeed> readFeeds(Database& archive) {
  const Counts all =
      readCounts(archive, "SELECT feed, count(*) FROM items INDEXED BY items_of_feed WHERE feed > 0 GROUP BY feed");
  const Counts unread =
      readCounts(archive, "SELECT feed, count(*) FROM items INDEXED BY items_unread WHERE read = 0 GROUP BY feed");
  const Counts starred =
      readCounts(archive, "SELECT feed, count(*) FROM items INDEXED BY items_starred WHERE starred = 1 GROUP BY feed");
  std::vector<ArchivedFeed> feeds;
  Rows rows = archive.rows(
      "SELECT id, url, name, category, title, description, site_url, icon_url, format, moved_to, last_outcome, "
      "last_status,"
      " last_asked, last_success, failures, is_gone, next_due FROM feeds"
      " WHERE EXISTS(SELECT 1 FROM addresses WHERE feed = feeds.id) ORDER BY category, name, id");
  while (rows.next()) {
    ArchivedFeed& feed = feeds.emplace_back(readFeed(rows));
    feed.itemCount = countOf(all, feed.id);
    feed.unreadCount = countOf(unread, feed.id);
    feed.starredCount = countOf(starred, feed.id);
  }
  return feeds;
}

std::optional<std::int64_t> findFeed(Database& archive, std::string_view url) {
  const std::optional<WebAddress> address = WebAddress::parse(url);
  if (!address) return std::nullopt;
  const std::string key = address->key();
  Rows rows = archive.rows("SELECT feed FROM addresses WHERE url = ?", std::string_view(key));
  if (!rows.next()) return std::nullopt;
  return rows.integer(0);
}

bool removePartOfFeed(Database& archive, std::int64_t feed) {
  Rows beyond = archive.rows("SELECT moment FROM items WHERE feed = ? AND starred = 0 ORDER BY moment LIMIT 1 OFFSET ?",
                             feed, kItemsOfPart);
  const bool isLast = !beyond.next();
  removeItems(archive, feed, isLast ? INT64_MAX : beyond.integer(0));
  if (isLast) removeBareFeed(archive, feed);
  return isLast;
}

}  // namespace quillmoria
