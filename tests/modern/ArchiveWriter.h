#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "modern/archive/Database.h"
#include "modern/archive/Schema.h"

namespace quillmoria {

/// Writes an archive row by row, for tests of what reads it.
class ArchiveWriter {
 public:
  explicit ArchiveWriter(const std::string& baseFolder) : archive_(openArchive(baseFolder)) {
    nextId_ = archive_.integer("SELECT ifnull((SELECT value FROM settings WHERE name = 'next_id'), 1)");
  }

  Database& archive() { return archive_; }

  std::int64_t feed(std::string_view url, std::string_view name, std::string_view category = "") {
    archive_.run("INSERT INTO feeds(url, name, category, last_success, last_pull) VALUES(?, ?, ?, 2000000, 1)", url,
                 name, category);
    const std::int64_t id = archive_.integer("SELECT last_insert_rowid()");
    archive_.run("INSERT INTO addresses(url, feed) VALUES(?, ?)", url, id);
    return id;
  }

  /// An item of the second `time`, unread, with one category and one enclosure. Returns its number.
  std::int64_t item(std::int64_t feed, std::int64_t time, std::string_view title, std::string_view plain = "") {
    const std::int64_t id = nextId_++;
    const std::int64_t moment = (time << 21) + id;
    const std::string number = std::to_string(id);
    const std::string link = "https://example.org/" + number;
    const std::string content = "<p>" + std::string(plain) + "</p>";
    archive_.run(
        "INSERT INTO items(moment, id, feed, key, link_key, content_key, record_key, first_seen, last_seen, published,"
        " updated, guid, is_permalink, link, title, authors) VALUES(?, ?, ?, ?, 0, 0, 0, ?, ?, ?, -1, ?, 1, ?, ?, 'Ann "
        "Lee')",
        moment, id, feed, id, time + 5, time + 5, time, std::string_view(link), std::string_view(link), title);
    archive_.run("INSERT INTO texts VALUES(?, '', '', '', '', '', '<p>short</p>', ?, ?)", moment,
                 std::string_view(content), plain);
    archive_.run("INSERT INTO categories VALUES(?, 0, 'news')", moment);
    archive_.run("INSERT INTO enclosures VALUES(?, 0, ?, 'audio/mpeg', 7, '', 61)", moment, std::string_view(link));
    archive_.run("INSERT INTO search(rowid, title, authors, plain) VALUES(?, ?, 'Ann Lee', ?)", moment, title, plain);
    archive_.run("INSERT OR REPLACE INTO settings VALUES('next_id', ?)", nextId_);
    return id;
  }

 private:
  Database archive_;
  std::int64_t nextId_ = 1;
};

}  // namespace quillmoria
