#include "modern/archive/ArchiveRepair.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "modern/archive/ArchiveCheck.h"
#include "modern/archive/Database.h"
#include "modern/archive/Schema.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

/// Runs `read`; false if what it reads is damaged. What else fails ends the repair.
bool readsWell(const std::function<void()>& read) {
  try {
    read();
    return true;
  } catch (const ArchiveError& error) {
    if (error.problem() != ArchiveProblem::Damaged && error.problem() != ArchiveProblem::Failed) throw;
    return false;
  }
}

/// Takes what can be read of a damaged archive over into a new one, row by row: a row on a bad page is lost, those
/// around it are not.
class Salvage {
 public:
  Salvage(Database& damaged, Database& made) : damaged_(damaged), made_(made) {
    readsWell([this] { maxRows_ = kMaxRowsPerPage * damaged_.integer("PRAGMA page_count"); });
  }

  void run() {
    for (const char* table : {"settings", "addresses", "hosts", "pictures"}) copyTable(table);
    copyRows("feeds", "id", feeds());
    const std::vector<std::int64_t> items = moments();
    copyRows("items", "moment", items);
    for (const char* table : {"texts", "categories", "enclosures"}) copyRows(table, "item", items);
  }

 private:
  /// A damaged tree may lead in circles.
  static constexpr std::int64_t kMaxRowsPerPage = 512;

  std::string columns(const std::string& table) {
    std::string names;
    for (Rows rows = made_.rows("SELECT name FROM pragma_table_info(?)", std::string_view(table)); rows.next();) {
      if (!names.empty()) names += ", ";
      names += rows.text(0);
    }
    return names;
  }

  std::string insertion(const std::string& table, const std::string& columns) {
    const auto more = static_cast<std::size_t>(std::ranges::count(columns, ','));
    std::string sql = "INSERT OR IGNORE INTO " + table + "(" + columns + ") VALUES(?";
    for (std::size_t i = 0; i < more; ++i) sql += ", ?";
    return sql + ")";
  }

  /// Up to where `rows` can be read. A row that the new table does not take is left out.
  void copy(Rows rows, const std::string& insertion) {
    for (std::int64_t count = 0; count < maxRows_ && rows.next(); ++count) {
      readsWell([&] { made_.insert(insertion, rows); });
    }
  }

  /// From both ends.
  void copyTable(const std::string& table) {
    const std::string names = columns(table);
    const std::string into = insertion(table, names);
    for (const char* order : {" ORDER BY 1", " ORDER BY 1 DESC"}) {
      readsWell([&] { copy(damaged_.rows("SELECT " + names + " FROM " + table + order), into); });
    }
  }

  void copyRows(const std::string& table, const std::string& key, const std::vector<std::int64_t>& values) {
    const std::string names = columns(table);
    const std::string from = "SELECT " + names + " FROM " + table + " WHERE " + key + " = ?";
    const std::string into = insertion(table, names);
    for (const std::int64_t value : values) {
      readsWell([&] { copy(damaged_.rows(from, value), into); });
    }
  }

  /// The integers that any of the queries gives, each read from both ends.
  std::vector<std::int64_t> keys(std::initializer_list<const char*> queries) {
    std::vector<std::int64_t> found;
    for (const char* query : queries) {
      for (const char* order : {"", " DESC"}) {
        readsWell([&] {
          Rows rows = damaged_.rows(std::string(query) + order);
          for (std::int64_t count = 0; count < maxRows_ && rows.next(); ++count) found.push_back(rows.integer(0));
        });
      }
    }
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
  }

  std::vector<std::int64_t> feeds() { return keys({"SELECT id FROM feeds NOT INDEXED ORDER BY id"}); }

  /// The indexes know of items that the table does not lead to any more.
  std::vector<std::int64_t> moments() {
    return keys({"SELECT moment FROM items NOT INDEXED ORDER BY moment",
                 "SELECT moment FROM items INDEXED BY items_of_feed WHERE feed > 0 ORDER BY feed",
                 "SELECT item FROM texts NOT INDEXED ORDER BY item"});
  }

  Database& damaged_;
  Database& made_;
  std::int64_t maxRows_ = 0;
};

// What makes salvaged rows a whole archive.
constexpr const char* kMendings[] = {
    "DELETE FROM items WHERE id < 1 OR id = 9223372036854775807",
    "UPDATE items SET read = read <> 0, starred = starred <> 0 WHERE read NOT IN (0, 1) OR starred NOT IN (0, 1)",
    "UPDATE items SET first_seen = moment >> 21 WHERE moment >> 21 > first_seen",
    "INSERT INTO texts(item, comments_url, image_url, source_title, source_url, language, summary, content, plain)"
    " SELECT moment, '', '', '', '', '', '', '', '' FROM items WHERE moment NOT IN (SELECT item FROM texts)",
    // Items whose feed is lost keep together, under its address if that is left.
    "INSERT OR IGNORE INTO feeds(id, url, name, category)"
    " SELECT feed, coalesce((SELECT min(url) FROM addresses WHERE addresses.feed = items.feed), 'lost:' || feed),"
    " 'Feed ' || feed, '' FROM items WHERE feed NOT IN (SELECT id FROM feeds) GROUP BY feed",
    "DELETE FROM items WHERE feed NOT IN (SELECT id FROM feeds)",
    "DELETE FROM addresses WHERE feed NOT IN (SELECT id FROM feeds)",
    "INSERT OR IGNORE INTO addresses(url, feed) SELECT url, id FROM feeds WHERE id NOT IN (SELECT feed FROM addresses)"
    " AND (last_pull > 0 OR EXISTS(SELECT 1 FROM items WHERE feed = feeds.id AND starred = 0))",
    "DELETE FROM items WHERE starred = 0 AND feed NOT IN (SELECT feed FROM addresses)",
    "DELETE FROM texts WHERE item NOT IN (SELECT moment FROM items)",
    "DELETE FROM categories WHERE item NOT IN (SELECT moment FROM items)",
    "DELETE FROM enclosures WHERE item NOT IN (SELECT moment FROM items)",
    "INSERT OR REPLACE INTO settings(name, value) VALUES('next_id',"
    " max(ifnull((SELECT value FROM settings WHERE name = 'next_id'), 1), ifnull((SELECT max(id) + 1 FROM items), 1)))",
    "INSERT INTO search(search) VALUES('rebuild')",
};

void indexWordsAnew(Database& archive) {
  Transaction transaction(archive);
  archive.run("INSERT INTO search(search) VALUES('rebuild')");
  transaction.commit();
}

ArchiveRepair countsOf(Database& archive) {
  ArchiveRepair repair;
  repair.feeds = archive.integer("SELECT count(*) FROM feeds");
  repair.items = archive.integer("SELECT count(*) FROM items");
  return repair;
}

/// The file at `path` and what SQLite keeps beside it go at the end, unless it was moved meanwhile.
class TemporaryArchive {
 public:
  explicit TemporaryArchive(std::string path) : path_(std::move(path)) { remove(); }
  TemporaryArchive(const TemporaryArchive&) = delete;
  TemporaryArchive& operator=(const TemporaryArchive&) = delete;
  ~TemporaryArchive() { remove(); }

  const std::string& path() const { return path_; }

 private:
  void remove() const {
    for (const char* suffix : kArchiveSuffixes) {
      std::error_code ignored;
      fs::remove(path_ + suffix, ignored);
    }
  }

  std::string path_;
};

/// Fills the archive at `path` from the one of `baseFolder`.
ArchiveRepair salvage(const std::string& baseFolder, const std::string& path) {
  Database made(path);
  makeTables(made);
  made.execute("PRAGMA foreign_keys = OFF");
  {
    Transaction transaction(made);
    readsWell([&] {
      Database damaged(archivePath(baseFolder));
      damaged.keepLog();
      Salvage(damaged, made).run();
    });
    for (const char* mending : kMendings) made.run(mending);
    transaction.commit();
  }
  if (!checkArchive(made).empty()) throw ArchiveError(ArchiveProblem::Failed, "the archive cannot be repaired");
  ;
  return countsOf(made);
}

/// Whether the archive is well; its words are then indexed anew.
bool isWell(const std::string& baseFolder, ArchiveRepair& repair) {
  bool isWhole = false;
  readsWell([&] {
    Database archive = openArchive(baseFolder);
    if (!checkArchive(archive).empty()) return;
    indexWordsAnew(archive);
    repair = countsOf(archive);
    isWhole = true;
  });
  return isWhole;
}

}  // namespace

ArchiveRepair repairArchive(const std::string& baseFolder) {
  ArchiveRepair repair;
  if (isWell(baseFolder, repair)) return repair;
  const TemporaryArchive made(archivePath(baseFolder) + ".repaired");
  repair = salvage(baseFolder, made.path());
  repair.damagedFile = moveArchiveAside(baseFolder);
  std::error_code error;
  fs::rename(made.path(), archivePath(baseFolder), error);
  if (error) throw ArchiveError(ArchiveProblem::NoAccess, "the repaired archive cannot be put in its place");
  return repair;
}

}  // namespace quillmoria
