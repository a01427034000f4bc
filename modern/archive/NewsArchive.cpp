#include "quillmoria/NewsArchive.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "modern/archive/ArchiveCheck.h"
#include "modern/archive/ArchiveRepair.h"
#include "modern/archive/Database.h"
#include "modern/archive/FeedRows.h"
#include "modern/archive/ItemLists.h"
#include "modern/archive/ItemRows.h"
#include "modern/archive/Schema.h"

namespace quillmoria {
namespace {

constexpr std::int32_t kMaxPage = 1000;

struct Marking {
  const char* ofMoment;  ///< sets the mark of an item that does not have it
  const char* momentOf;  ///< the moment of the item of that number, if it does not have it
};

// By ItemMark.
constexpr Marking kMarkings[] = {
    {"UPDATE items SET read = 1 WHERE moment = ?", "SELECT moment FROM items WHERE id = ? AND read = 0"},
    {"UPDATE items SET read = 0 WHERE moment = ?", "SELECT moment FROM items WHERE id = ? AND read = 1"},
    {"UPDATE items SET starred = 1 WHERE moment = ?", "SELECT moment FROM items WHERE id = ? AND starred = 0"},
    {"UPDATE items SET starred = 0 WHERE moment = ?", "SELECT moment FROM items WHERE id = ? AND starred = 1"},
};

const Marking& markingOf(ItemMark mark) { return kMarkings[static_cast<std::size_t>(mark)]; }

/// Leaves those that do not have `mark`. False if `filter` wants none of them.
bool restrictToUnmarked(ItemFilter& filter, ItemMark mark) {
  const bool isOfReading = mark == ItemMark::Read || mark == ItemMark::Unread;
  std::optional<bool>& has = isOfReading ? filter.isRead : filter.isStarred;
  const bool isWanted = mark == ItemMark::Unread || mark == ItemMark::Unstarred;
  if (has && *has != isWanted) return false;
  has = isWanted;
  return true;
}

/// Time of the item whose key is the result of `sql`.
CTime momentOf(Database& archive, const char* sql) {
  Rows rows = archive.rows(sql);
  if (!rows.next() || rows.isNull(0)) return {};
  return {static_cast<std::int32_t>(std::clamp<std::int64_t>(rows.integer(0) / kMomentsPerSecond, -1, INT32_MAX))};
}

}  // namespace

/// What stands behind a NewsArchive.
class ArchiveReading {
 public:
  explicit ArchiveReading(const std::string& baseFolder)
      : path_(archivePath(baseFolder)), archive_(openArchive(baseFolder)) {}

  /// For one call.
  Database& archive() {
    archive_.bePatient();
    return archive_;
  }

  ItemPage page(const ItemQuery& query);
  std::optional<ArchivedItem> item(std::int64_t id);
  std::vector<std::int64_t> mark(std::span<const std::int64_t> ids, ItemMark mark);
  std::vector<std::int64_t> markAll(const ItemQuery& query, ItemMark mark);
  ArchiveStatistics statistics();
  ArchiveRetention retention();
  void setRetention(const ArchiveRetention& retention);

 private:
  struct FeedNames {
    std::string name;
    std::string url;
    std::string category;
    CTime lastSuccess;
  };
  /// What reads one item, with or without its texts.
  struct ItemSql {
    explicit ItemSql(bool hasText);

    std::string item;
    std::string categories;
    std::string enclosures;
    int ownColumns;  ///< the first one that is not of the item's record
  };
  using NamesOfFeeds = std::unordered_map<std::int64_t, FeedNames>;

  const FeedNames& namesOf(std::int64_t feed, NamesOfFeeds& known);
  std::optional<ArchivedItem> read(std::int64_t moment, const ItemSql& sql, NamesOfFeeds& known);
  std::int64_t setting(std::string_view name, std::int64_t otherwise);
  void set(std::string_view name, std::int64_t value);

  std::string path_;
  Database archive_;
};

const ArchiveReading::FeedNames& ArchiveReading::namesOf(std::int64_t feed, NamesOfFeeds& known) {
  const auto [place, isNew] = known.try_emplace(feed);
  FeedNames& names = place->second;
  if (!isNew) return names;
  Rows row = archive_.rows("SELECT name, url, category, last_success FROM feeds WHERE id = ?", feed);
  if (!row.next()) return names;
  names.name = row.text(0);
  names.url = row.text(1);
  names.category = row.text(2);
  if (row.integer(3) > 0) names.lastSuccess = row.moment(3);
  return names;
}

ArchiveReading::ItemSql::ItemSql(bool hasText) : ownColumns(kItemColumnCount + (hasText ? kTextColumnCount : 0)) {
  item = std::string("SELECT ")
             .append(kItemColumns)
             .append(hasText ? ", " : "")
             .append(hasText ? kTextColumns : "")
             .append(
                 ", items.feed, items.read, items.starred, items.place, items.last_seen FROM items "
                 "LEFT JOIN texts ON texts.item = items.moment WHERE items.moment = ?");
  categories =
      std::string("SELECT ").append(kCategoryColumns).append(" FROM categories WHERE item = ? ORDER BY position");
  enclosures =
      std::string("SELECT ").append(kEnclosureColumns).append(" FROM enclosures WHERE item = ? ORDER BY position");
}

std::optional<ArchivedItem> ArchiveReading::read(std::int64_t moment, const ItemSql& sql, NamesOfFeeds& known) {
  ArchivedItem item;
  {
    Rows row = archive_.rows(sql.item, moment);
    if (!row.next()) return std::nullopt;
    const int own = sql.ownColumns;
    readItem(row, item.item, item.details);
    if (own > kItemColumnCount) readTexts(row, item.item, item.details);
    item.feedId = row.integer(own);
    item.isRead = row.integer(own + 1) != 0;
    item.isStarred = row.integer(own + 2) != 0;
    const FeedNames& feed = namesOf(item.feedId, known);
    item.feedName = feed.name;
    item.feedUrl = feed.url;
    item.category = feed.category;
    const bool isInDocument = !row.isNull(own + 3);
    item.lastSeen = row.moment(own + 4);
    if (isInDocument) item.lastSeen = std::max(item.lastSeen, feed.lastSuccess);
  }
  item.item.status = kCachedItem;
  Rows categories = archive_.rows(sql.categories, moment);
  while (categories.next()) readCategory(categories, item.details);
  Rows enclosures = archive_.rows(sql.enclosures, moment);
  while (enclosures.next()) readEnclosure(enclosures, item.details);
  return item;
}

ItemPage ArchiveReading::page(const ItemQuery& query) {
  const auto limit = static_cast<std::size_t>(std::clamp(query.limit, 1, kMaxPage));
  Snapshot snapshot(archive());
  const std::optional<ItemFilter> filter = filterOf(archive_, query);
  if (!filter) return {};
  std::vector<std::int64_t> moments = newestMoments(archive_, *filter, limit + 1);
  ItemPage page;
  if (moments.size() > limit) {
    moments.pop_back();
    page.next = moments.back();
  }
  NamesOfFeeds known;
  const ItemSql sql(query.withText);
  for (const std::int64_t moment : moments) {
    if (std::optional<ArchivedItem> found = read(moment, sql, known)) page.items.push_back(std::move(*found));
  }
  return page;
}

std::optional<ArchivedItem> ArchiveReading::item(std::int64_t id) {
  Snapshot snapshot(archive());
  NamesOfFeeds known;
  Rows row = archive_.rows("SELECT moment FROM items WHERE id = ?", id);
  if (!row.next()) return std::nullopt;
  return read(row.integer(0), ItemSql(true), known);
}

std::vector<std::int64_t> ArchiveReading::mark(std::span<const std::int64_t> ids, ItemMark mark) {
  Transaction transaction(archive());
  std::vector<std::int64_t> marked;
  for (const std::int64_t id : ids) {
    const std::int64_t moment = archive_.integer(markingOf(mark).momentOf, id);
    if (moment == 0) continue;
    archive_.run(markingOf(mark).ofMoment, moment);
    marked.push_back(id);
  }
  transaction.commit();
  return marked;
}

std::vector<std::int64_t> ArchiveReading::markAll(const ItemQuery& query, ItemMark mark) {
  const LargeCache cache(archive());
  Transaction transaction(archive_);
  std::optional<ItemFilter> filter = filterOf(archive_, query);
  if (!filter || !restrictToUnmarked(*filter, mark)) return {};
  std::vector<std::int64_t> marked = allMoments(archive_, *filter);
  for (std::int64_t& moment : marked) {
    archive_.run(markingOf(mark).ofMoment, moment);
    moment = archive_.integer("SELECT id FROM items WHERE moment = ?", moment);
  }
  transaction.commit();
  return marked;
}

ArchiveStatistics ArchiveReading::statistics() {
  Snapshot snapshot(archive());
  ArchiveStatistics all;
  all.feeds = archive_.integer("SELECT count(DISTINCT feed) FROM addresses");
  all.items = archive_.integer("SELECT count(*) FROM items");
  all.unread = archive_.integer("SELECT count(*) FROM items INDEXED BY items_unread WHERE read = 0");
  all.starred = archive_.integer("SELECT count(*) FROM items INDEXED BY items_starred WHERE starred = 1");
  for (const char* suffix : kArchiveSuffixes) {
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(path_ + suffix, error);
    if (!error) all.bytes += static_cast<std::int64_t>(bytes);
  }
  all.oldest = momentOf(archive_, "SELECT min(moment) FROM items");
  all.newest = momentOf(archive_, "SELECT max(moment) FROM items");
  all.version = static_cast<std::int32_t>(archive_.integer("PRAGMA user_version"));
  return all;
}

std::int64_t ArchiveReading::setting(std::string_view name, std::int64_t otherwise) {
  Rows row = archive_.rows("SELECT value FROM settings WHERE name = ?", name);
  return row.next() ? row.integer(0) : otherwise;
}

void ArchiveReading::set(std::string_view name, std::int64_t value) {
  archive_.run("INSERT OR REPLACE INTO settings(name, value) VALUES(?, ?)", name, value);
}

ArchiveRetention ArchiveReading::retention() {
  Snapshot snapshot(archive());
  const auto bounded = [this](std::string_view name, std::int32_t otherwise) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(setting(name, otherwise), 0, INT32_MAX));
  };
  constexpr ArchiveRetention kUsual;
  return {bounded(kItemsPerFeed, kUsual.itemsPerFeed), bounded(kDays, kUsual.days)};
}

void ArchiveReading::setRetention(const ArchiveRetention& retention) {
  Transaction transaction(archive());
  set(kItemsPerFeed, std::max(retention.itemsPerFeed, 0));
  set(kDays, std::max(retention.days, 0));
  transaction.commit();
}

NewsArchive::NewsArchive(const std::string& baseFolder) : reading_(std::make_unique<ArchiveReading>(baseFolder)) {}
NewsArchive::NewsArchive(NewsArchive&&) noexcept = default;
NewsArchive& NewsArchive::operator=(NewsArchive&&) noexcept = default;
NewsArchive::~NewsArchive() = default;

std::vector<ArchivedFeed> NewsArchive::Feeds() {
  Snapshot snapshot(reading_->archive());
  return readFeeds(reading_->archive());
}

ItemPage NewsArchive::Items(const ItemQuery& query) { return reading_->page(query); }

std::optional<ArchivedItem> NewsArchive::Item(std::int64_t id) { return reading_->item(id); }

std::vector<std::int64_t> NewsArchive::MarkItems(std::span<const std::int64_t> ids, ItemMark mark) {
  return reading_->mark(ids, mark);
}

std::vector<std::int64_t> NewsArchive::MarkAll(const ItemQuery& query, ItemMark mark) {
  return reading_->markAll(query, mark);
}

/// Others write meanwhile, too: they look for their turn all fifty milliseconds.
bool NewsArchive::RemoveFeed(const std::string& url) {
  constexpr std::chrono::milliseconds kTurnOfOthers{60};
  const LargeCache cache(reading_->archive());
  for (;;) {
    Database& archive = reading_->archive();
    Transaction transaction(archive);
    const std::optional<std::int64_t> feed = findFeed(archive, url);
    if (!feed) return false;
    const bool isDone = removePartOfFeed(archive, *feed);
    transaction.commit();
    if (isDone) return true;
    std::this_thread::sleep_for(kTurnOfOthers);
  }
}

bool NewsArchive::RenameFeed(const std::string& url, const std::string& name, const std::string& category) {
  Database& archive = reading_->archive();
  Transaction transaction(archive);
  const std::optional<std::int64_t> feed = findFeed(archive, url);
  if (!feed) return false;
  archive.run("UPDATE feeds SET name = ?, category = ? WHERE id = ?", std::string_view(name),
              std::string_view(category), *feed);
  transaction.commit();
  return true;
}

ArchiveStatistics NewsArchive::Statistics() { return reading_->statistics(); }

void NewsArchive::SetRetention(const ArchiveRetention& retention) { reading_->setRetention(retention); }

ArchiveRetention NewsArchive::Retention() { return reading_->retention(); }

std::vector<std::string> NewsArchive::Check() { return checkArchive(reading_->archive()); }

ArchiveRepair NewsArchive::Repair(const std::string& baseFolder) { return repairArchive(baseFolder); }

}  // namespace quillmoria
