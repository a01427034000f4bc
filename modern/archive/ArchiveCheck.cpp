#include "modern/archive/ArchiveCheck.h"

#include <utility>

#include "modern/archive/Schema.h"

namespace quillmoria {
namespace {

using Problems = std::vector<std::string>;

void checkFile(Database& archive, Problems& problems) {
  for (Rows rows = archive.rows("PRAGMA integrity_check"); rows.next();) {
    if (rows.text(0) != "ok") problems.emplace_back(rows.text(0));
  }
}

void checkReferences(Database& archive, Problems& problems) {
  for (Rows rows = archive.rows("PRAGMA foreign_key_check"); rows.next();) {
    problems.push_back("row " + std::to_string(rows.integer(1)) + " of " + std::string(rows.text(0)) +
                       " belongs to nothing in " + std::string(rows.text(2)));
  }
}

/// The tables, indexes and views, as they were made.
std::vector<std::pair<std::string, std::string>> partsOf(Database& archive) {
  std::vector<std::pair<std::string, std::string>> parts;
  Rows rows = archive.rows("SELECT name, sql FROM sqlite_schema WHERE name NOT LIKE 'sqlite_stat%' ORDER BY name");
  while (rows.next()) parts.emplace_back(rows.text(0), rows.text(1));
  return parts;
}

void checkTables(Database& archive, Problems& problems) {
  Database pattern(":memory:");
  makeTables(pattern);
  if (partsOf(archive) != partsOf(pattern)) problems.emplace_back("the tables are not those of an archive");
}

/// Compares the index with the texts, too.
void checkWords(Database& archive, Problems& problems) {
  try {
    archive.run("INSERT INTO search(search, rank) VALUES('integrity-check', 1)");
  } catch (const ArchiveError& error) {
    if (error.problem() != ArchiveProblem::Damaged) throw;
    problems.emplace_back("the index of words does not fit the items");
  }
}

struct Rule {
  const char* violations;
  const char* text;
};

// What pulls and readers rely on, beyond what the tables themselves see to.
constexpr Rule kRules[] = {
    {"SELECT count(*) FROM items WHERE NOT EXISTS(SELECT 1 FROM texts WHERE item = moment)", "items without texts"},
    {"SELECT count(*) FROM items WHERE read NOT IN (0, 1) OR starred NOT IN (0, 1)", "items with unknown marks"},
    {"SELECT count(*) FROM items WHERE moment >> 21 > first_seen", "items newer than when they were first seen"},
    {"SELECT count(*) FROM items WHERE id < 1 OR id >= ifnull((SELECT value FROM settings WHERE name = 'next_id'), 1)",
     "items with numbers that are still to be given"},
    {"SELECT count(*) FROM items WHERE starred <> 1 AND feed NOT IN (SELECT feed FROM addresses)",
     "items of feeds without an address"},
};

void checkRules(Database& archive, Problems& problems) {
  for (const Rule& rule : kRules) {
    const std::int64_t count = archive.integer(rule.violations);
    if (count > 0) problems.push_back(std::to_string(count) + " " + rule.text);
  }
}

}  // namespace

std::vector<std::string> checkArchive(Database& archive) {
  Problems problems;
  for (const auto check : {&checkFile, &checkTables, &checkReferences, &checkRules, &checkWords}) {
    try {
      check(archive, problems);
    } catch (const ArchiveError& error) {
      if (error.problem() != ArchiveProblem::Damaged && error.problem() != ArchiveProblem::Failed) throw;
      problems.emplace_back(error.what());
    }
  }
  return problems;
}

}  // namespace quillmoria
