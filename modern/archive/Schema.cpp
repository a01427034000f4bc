#include "modern/archive/Schema.h"

#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "quillmoria/CTime.h"
#include "quillmoria/NewsArchive.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

/// "QmNA", which tells the file from other databases.
constexpr std::int64_t kApplicationId = 0x516d4e41;

// What brings a version up to the next one; the first makes the tables. docs/archive-format.md describes them.
constexpr std::array<const char*, kSchemaVersion> kSteps = {R"sql(
CREATE TABLE settings(name TEXT PRIMARY KEY, value INTEGER NOT NULL) STRICT, WITHOUT ROWID;
CREATE TABLE feeds(
  id INTEGER PRIMARY KEY,
  url TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL,
  category TEXT NOT NULL,
  last_pull INTEGER NOT NULL DEFAULT 0,
  last_outcome INTEGER,
  last_status TEXT NOT NULL DEFAULT '',
  last_asked INTEGER NOT NULL DEFAULT 0,
  last_success INTEGER NOT NULL DEFAULT 0,
  failures INTEGER NOT NULL DEFAULT 0,
  answered_failures INTEGER NOT NULL DEFAULT 0,
  next_due INTEGER NOT NULL DEFAULT 0,
  is_gone INTEGER NOT NULL DEFAULT 0,
  moved_to TEXT NOT NULL DEFAULT '',
  moved_failures INTEGER NOT NULL DEFAULT 0,
  validated_url TEXT NOT NULL DEFAULT '',
  entity_tag TEXT NOT NULL DEFAULT '',
  last_modified TEXT NOT NULL DEFAULT '',
  body_hash TEXT NOT NULL DEFAULT '',
  fresh_for INTEGER NOT NULL DEFAULT -1,
  update_minutes INTEGER NOT NULL DEFAULT -1,
  skip_hours INTEGER NOT NULL DEFAULT 0,
  skip_days INTEGER NOT NULL DEFAULT 0,
  has_document INTEGER NOT NULL DEFAULT 0,
  format TEXT NOT NULL DEFAULT '',
  title TEXT NOT NULL DEFAULT '',
  description TEXT NOT NULL DEFAULT '',
  link TEXT NOT NULL DEFAULT '',
  language TEXT NOT NULL DEFAULT '',
  date INTEGER NOT NULL DEFAULT -1,
  update_base INTEGER NOT NULL DEFAULT -1,
  update_period TEXT NOT NULL DEFAULT '',
  update_frequency INTEGER NOT NULL DEFAULT -1,
  image_title TEXT NOT NULL DEFAULT '',
  image_url TEXT NOT NULL DEFAULT '',
  image_link TEXT NOT NULL DEFAULT '',
  image_description TEXT NOT NULL DEFAULT '',
  image_width INTEGER NOT NULL DEFAULT 1,
  image_height INTEGER NOT NULL DEFAULT -1,
  site_url TEXT NOT NULL DEFAULT '',
  icon_url TEXT NOT NULL DEFAULT '',
  categories TEXT NOT NULL DEFAULT '',
  authors TEXT NOT NULL DEFAULT '',
  rights TEXT NOT NULL DEFAULT '',
  generator TEXT NOT NULL DEFAULT '',
  hub_url TEXT NOT NULL DEFAULT ''
) STRICT;
CREATE TABLE addresses(
  url TEXT PRIMARY KEY,
  feed INTEGER NOT NULL REFERENCES feeds ON DELETE CASCADE
) STRICT, WITHOUT ROWID;
CREATE INDEX addresses_of_feed ON addresses(feed);
CREATE TABLE hosts(
  origin TEXT PRIMARY KEY,
  not_before INTEGER NOT NULL,
  refusals INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE pictures(
  file TEXT PRIMARY KEY,
  validated_url TEXT NOT NULL,
  entity_tag TEXT NOT NULL,
  last_modified TEXT NOT NULL,
  failed_at INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE items(
  moment INTEGER PRIMARY KEY,
  id INTEGER NOT NULL UNIQUE,
  feed INTEGER NOT NULL REFERENCES feeds ON DELETE CASCADE,
  key INTEGER NOT NULL,
  link_key INTEGER NOT NULL,
  content_key INTEGER NOT NULL,
  record_key INTEGER NOT NULL,
  place INTEGER,
  read INTEGER NOT NULL DEFAULT 0,
  starred INTEGER NOT NULL DEFAULT 0,
  first_seen INTEGER NOT NULL,
  last_seen INTEGER NOT NULL,
  published INTEGER NOT NULL,
  updated INTEGER NOT NULL,
  guid TEXT NOT NULL,
  is_permalink INTEGER NOT NULL,
  link TEXT NOT NULL,
  title TEXT NOT NULL,
  authors TEXT NOT NULL
) STRICT;
CREATE INDEX items_of_feed ON items(feed, moment);
CREATE INDEX items_by_key ON items(feed, key, link_key);
CREATE INDEX items_in_document ON items(feed, place) WHERE place IS NOT NULL;
CREATE INDEX items_unread ON items(feed, moment) WHERE read = 0;
CREATE INDEX items_starred ON items(feed, moment) WHERE starred = 1;
CREATE INDEX items_to_forget ON items(feed, last_seen) WHERE place IS NULL AND read = 1 AND starred = 0;
CREATE TABLE texts(
  item INTEGER PRIMARY KEY REFERENCES items ON DELETE CASCADE,
  comments_url TEXT NOT NULL,
  image_url TEXT NOT NULL,
  source_title TEXT NOT NULL,
  source_url TEXT NOT NULL,
  language TEXT NOT NULL,
  summary TEXT NOT NULL,
  content TEXT NOT NULL,
  plain TEXT NOT NULL
) STRICT;
CREATE TABLE categories(
  item INTEGER NOT NULL REFERENCES items ON DELETE CASCADE,
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  PRIMARY KEY(item, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE enclosures(
  item INTEGER NOT NULL REFERENCES items ON DELETE CASCADE,
  position INTEGER NOT NULL,
  url TEXT NOT NULL,
  type TEXT NOT NULL,
  length INTEGER NOT NULL,
  title TEXT NOT NULL,
  duration INTEGER NOT NULL,
  PRIMARY KEY(item, position)
) STRICT, WITHOUT ROWID;
CREATE VIEW searched(moment, title, authors, plain) AS
  SELECT items.moment, items.title, items.authors, texts.plain FROM items JOIN texts ON texts.item = items.moment;
CREATE VIRTUAL TABLE search USING fts5(title, authors, plain, content='searched', content_rowid='moment',
  tokenize=words);
INSERT INTO search(search, rank) VALUES('automerge', 16);
)sql"};

std::int64_t versionOf(Database& archive) { return archive.integer("PRAGMA user_version"); }

/// A file without version and tables has just been made, or its making was cut off.
void requireVersion(Database& archive) {
  const std::int64_t version = versionOf(archive);
  const std::int64_t application = archive.integer("PRAGMA application_id");
  const bool isOurs = application == kApplicationId && version > 0;
  if (version < 0) throw ArchiveError(ArchiveProblem::Damaged, "the archive is damaged");
  if (!isOurs && archive.integer("SELECT count(*) FROM sqlite_schema") != 0) {
    throw ArchiveError(ArchiveProblem::Damaged, "the archive is another program's database");
  }
  if (version > kSchemaVersion) throw ArchiveError(ArchiveProblem::Newer, "the archive is of a newer version");
  if (version != kSchemaVersion) makeTables(archive);
}

/// Nothing but a file of its own: a link would lead elsewhere, and a pipe never ends.
void requireFile(const fs::path& path) {
  const fs::file_status status = fs::symlink_status(path);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw ArchiveError(ArchiveProblem::NoAccess, "the archive is no file");
  }
}

std::string freePath(const std::string& path) {
  const std::string stem = path + ".damaged-" + CTime::GetCurrentTime().Format("%Y%m%d-%H%M%S");
  std::string free = stem;
  for (int number = 2; fs::exists(fs::symlink_status(free)); ++number) free = stem + "-" + std::to_string(number);
  return free;
}

}  // namespace

/// Looks again once nobody else can write: another may have been faster.
void makeTables(Database& archive) {
  Transaction transaction(archive);
  for (std::int64_t version = versionOf(archive); version < kSchemaVersion; ++version) {
    archive.execute(kSteps[static_cast<std::size_t>(version)]);
  }
  archive.execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
  archive.execute(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str());
  transaction.commit();
}

std::string archivePath(const std::string& baseFolder) {
  std::error_code error;
  const fs::path folder = fs::canonical(baseFolder.empty() ? "." : baseFolder, error);
  if (error) throw ArchiveError(ArchiveProblem::NoAccess, "there is no folder for the archive");
  return (folder / "archive.sqlite").string();
}

bool hasArchive(const std::string& baseFolder) {
  std::error_code error;
  return fs::symlink_status(archivePath(baseFolder), error).type() != fs::file_type::not_found;
}

Database openArchive(const std::string& baseFolder) {
  const std::string path = archivePath(baseFolder);
  for (const char* suffix : kArchiveSuffixes) requireFile(path + suffix);
  Database archive(path);
  requireVersion(archive);
  return archive;
}

std::string moveArchiveAside(const std::string& baseFolder) {
  const std::string path = archivePath(baseFolder);
  const std::string aside = freePath(path);
  for (const char* suffix : kArchiveSuffixes) {
    std::error_code error;
    fs::rename(path + suffix, aside + suffix, error);
    if (error && error != std::errc::no_such_file_or_directory) {
      throw ArchiveError(ArchiveProblem::NoAccess, "the damaged archive cannot be moved aside");
    }
  }
  return aside;
}

}  // namespace quillmoria
