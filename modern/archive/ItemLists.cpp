#include "modern/archive/ItemLists.h"

#include <algorithm>
#include <queue>
#include <unordered_set>
#include <utility>

#include "modern/archive/Schema.h"
#include "modern/archive/SearchWords.h"

namespace quillmoria {
namespace {

const char* condition(std::optional<bool> value, const char* isTrue, const char* isFalse) {
  if (!value) return "";
  return *value ? isTrue : isFalse;
}

std::string flagConditions(const ItemFilter& filter) {
  return std::string(condition(filter.isRead, " AND items.read = 1", " AND items.read = 0")) +
         condition(filter.isStarred, " AND items.starred = 1", " AND items.starred = 0");
}

/// The index whose part of a feed has the fewest others.
const char* indexOf(const ItemFilter& filter) {
  if (filter.isStarred == true) return "items_starred";
  return filter.isRead == false ? "items_unread" : "items_of_feed";
}

std::string ofFeedSql(const ItemFilter& filter) {
  return std::string("SELECT moment FROM items INDEXED BY ") + indexOf(filter) +
         " WHERE feed = ? AND moment >= ? AND moment < ?" + flagConditions(filter) + " ORDER BY moment DESC";
}

std::vector<std::int64_t> allFeeds(Database& archive) {
  std::vector<std::int64_t> feeds;
  for (Rows rows = archive.rows("SELECT id FROM feeds"); rows.next();) feeds.push_back(rows.integer(0));
  return feeds;
}

void append(std::vector<std::int64_t>& moments, Rows rows, std::size_t limit) {
  while (moments.size() < limit && rows.next()) moments.push_back(rows.integer(0));
}

/// The primary key has the order of all lists.
std::vector<std::int64_t> ofAllFeeds(Database& archive, const ItemFilter& filter, std::size_t limit) {
  const std::string sql =
      "SELECT moment FROM items WHERE moment >= ? AND moment < ?" + flagConditions(filter) + " ORDER BY moment DESC";
  std::vector<std::int64_t> moments;
  append(moments, archive.rows(sql, filter.from, filter.before), limit);
  return moments;
}

/// FTS5 gives its matches by the key, the newest first, as they are found.
std::vector<std::int64_t> matching(Database& archive, const ItemFilter& filter, std::size_t limit) {
  const std::string sql =
      "SELECT items.moment, items.feed FROM search CROSS JOIN items ON items.moment = search.rowid"
      " WHERE search MATCH ? AND search.rowid >= ? AND search.rowid < ?" +
      flagConditions(filter) + " ORDER BY search.rowid DESC";
  std::unordered_set<std::int64_t> feeds;
  if (filter.feeds) feeds.insert(filter.feeds->begin(), filter.feeds->end());
  std::vector<std::int64_t> moments;
  Rows rows = archive.rows(sql, std::string_view(*filter.search), filter.from, filter.before);
  while (moments.size() < limit && rows.next()) {
    if (!filter.feeds || feeds.contains(rows.integer(1))) moments.push_back(rows.integer(0));
  }
  return moments;
}

/// Merges what the feeds have: always takes the newest of their next ones.
std::vector<std::int64_t> merged(Database& archive, const ItemFilter& filter, const std::vector<std::int64_t>& feeds,
                                 std::size_t limit) {
  const std::string sql = ofFeedSql(filter) + " LIMIT 1";
  std::priority_queue<std::pair<std::int64_t, std::int64_t>> next;
  const auto push = [&](std::int64_t feed, std::int64_t before) {
    if (Rows rows = archive.rows(sql, feed, filter.from, before); rows.next()) next.emplace(rows.integer(0), feed);
  };
  for (const std::int64_t feed : feeds) push(feed, filter.before);
  std::vector<std::int64_t> moments;
  while (moments.size() < limit && !next.empty()) {
    const auto [moment, feed] = next.top();
    next.pop();
    moments.push_back(moment);
    push(feed, moment);
  }
  return moments;
}

/// Whether a part of the items has an index.
bool isPartial(const ItemFilter& filter) { return filter.isRead == false || filter.isStarred == true; }

}  // namespace

std::optional<ItemFilter> filterOf(Database& archive, const ItemQuery& query) {
  ItemFilter filter;
  if (query.onlyUnread) filter.isRead = false;
  if (query.onlyStarred) filter.isStarred = true;
  if (query.since != CTime()) filter.from = query.since.GetTime() * kMomentsPerSecond;
  filter.before = query.before;
  if (query.words) {
    filter.search = searchExpression(*query.words);
    if (filter.search->empty()) return std::nullopt;
  }
  if (query.feeds.empty() && query.categories.empty()) return filter;
  const std::unordered_set<std::int64_t> feeds(query.feeds.begin(), query.feeds.end());
  const std::unordered_set<std::string_view> categories(query.categories.begin(), query.categories.end());
  filter.feeds.emplace();
  for (Rows rows = archive.rows("SELECT id, category FROM feeds"); rows.next();) {
    const bool isWanted =
        (feeds.empty() || feeds.contains(rows.integer(0))) && (categories.empty() || categories.contains(rows.text(1)));
    if (isWanted) filter.feeds->push_back(rows.integer(0));
  }
  return filter;
}

std::vector<std::int64_t> newestMoments(Database& archive, const ItemFilter& filter, std::size_t limit) {
  if (filter.search) return matching(archive, filter, limit);
  if (filter.feeds) return merged(archive, filter, *filter.feeds, limit);
  return isPartial(filter) ? merged(archive, filter, allFeeds(archive), limit) : ofAllFeeds(archive, filter, limit);
}

std::vector<std::int64_t> allMoments(Database& archive, const ItemFilter& filter) {
  if (filter.search) return matching(archive, filter, SIZE_MAX);
  if (!filter.feeds && !isPartial(filter)) return ofAllFeeds(archive, filter, SIZE_MAX);
  const std::string sql = ofFeedSql(filter);
  std::vector<std::int64_t> moments;
  for (const std::int64_t feed : filter.feeds ? *filter.feeds : allFeeds(archive)) {
    append(moments, archive.rows(sql, feed, filter.from, filter.before), SIZE_MAX);
  }
  return moments;
}

}  // namespace quillmoria
