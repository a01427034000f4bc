#include "modern/archive/Retention.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "modern/archive/ItemWriter.h"
#include "modern/archive/Schema.h"

namespace quillmoria {
namespace {

constexpr std::int64_t kDaySeconds = 24 * 60 * 60;

std::int64_t setting(Database& archive, std::string_view name, std::int32_t otherwise) {
  Rows row = archive.rows("SELECT value FROM settings WHERE name = ?", name);
  return row.next() ? std::clamp<std::int64_t>(row.integer(0), 0, INT32_MAX) : otherwise;
}

}  // namespace

void forgetItems(Database& archive, std::int64_t feed, CTime now) {
  const ArchiveRetention usual;
  const std::int64_t itemsPerFeed = setting(archive, kItemsPerFeed, usual.itemsPerFeed);
  const std::int64_t days = setting(archive, kDays, usual.days);
  std::vector<std::int64_t> moments;
  for (Rows rows = archive.rows(
           "SELECT moment FROM items INDEXED BY items_to_forget WHERE feed = ?1 AND place IS NULL AND read = 1 "
           "AND starred = 0 AND last_seen < ?2 AND moment <= "
           "(SELECT moment FROM items WHERE feed = ?1 ORDER BY moment DESC LIMIT 1 OFFSET ?3)",
           feed, now.GetTime() - days * kDaySeconds, itemsPerFeed);
       rows.next();) {
    moments.push_back(rows.integer(0));
  }
  for (const std::int64_t moment : moments) ItemWriter::remove(archive, moment);
}

}  // namespace quillmoria
