#include "modern/archive/ItemWriter.h"

#include <algorithm>
#include <string_view>

#include "modern/archive/ItemRows.h"
#include "modern/archive/Schema.h"
#include "modern/html/Html.h"
#include "platform/CodePage.h"

namespace quillmoria {
namespace {

/// The second under which an item is listed. One that says that it is of the future is as old as its first sight.
std::int64_t secondOf(const WrittenItem& item) {
  const std::int64_t firstSeen = std::max(item.details.firstSeen.GetTime(), 0);
  const std::int64_t date = item.item.date.GetTime();
  return date < 0 ? firstSeen : std::min(date, firstSeen);
}

}  // namespace

std::int64_t ItemWriter::takeIds(std::int64_t count) {
  const std::int64_t next = archive_.integer(
      "INSERT INTO settings(name, value) VALUES(?, 1 + ?) ON CONFLICT(name) DO UPDATE SET value = value + ? "
      "RETURNING value",
      std::string_view(kNextId), count, count);
  return next - count;
}

void ItemWriter::insert(const WrittenItem& item, std::int64_t place, bool isRead, CTime now) {
  const Texts texts = textsOf(item);
  const std::string guid = wideToUtf8(item.item.guidW);
  const std::int64_t moment = freeMoment(secondOf(item));
  const ItemDetails& details = item.details;
  archive_.run(
      "INSERT INTO items(moment, id, feed, key, link_key, content_key, record_key, place, read, first_seen, last_seen, "
      "published, updated, guid, is_permalink, link, title, authors) "
      "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      moment, details.id, feed_, item.keys.key, item.keys.link, item.keys.content, item.keys.record, place,
      std::int64_t{isRead}, details.firstSeen, now, details.published, details.updated, guid,
      std::int64_t{item.item.isPermaLink}, item.item.link, item.item.title, texts.authors);
  archive_.run(
      "INSERT INTO texts(item, comments_url, image_url, source_title, source_url, language, summary, content, plain) "
      "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)",
      moment, details.commentsUrl, details.imageUrl, details.sourceTitle, details.sourceUrl, details.language,
      texts.summary, details.contentW.empty() ? std::string_view() : item.item.description, texts.plain);
  addLists(moment, details);
  addWords(moment, item, texts);
}

void ItemWriter::update(std::int64_t moment, const WrittenItem& item, bool hasOtherText) {
  const Texts texts = textsOf(item);
  const std::string guid = wideToUtf8(item.item.guidW);
  const ItemDetails& details = item.details;
  const bool hasOtherWords =
      hasOtherText || archive_.integer("SELECT authors <> ? FROM items WHERE moment = ?", texts.authors, moment) != 0;
  if (hasOtherWords) removeWords(archive_, moment);
  archive_.run(
      "UPDATE items SET key = ?, link_key = ?, content_key = ?, record_key = ?, published = ?, updated = ?, guid = ?, "
      "is_permalink = ?, link = ?, title = ?, authors = ? WHERE moment = ?",
      item.keys.key, item.keys.link, item.keys.content, item.keys.record, details.published, details.updated, guid,
      std::int64_t{item.item.isPermaLink}, item.item.link, item.item.title, texts.authors, moment);
  archive_.run(
      "UPDATE texts SET comments_url = ?, image_url = ?, source_title = ?, source_url = ?, language = ?, summary = ?, "
      "content = ?, plain = ? WHERE item = ?",
      details.commentsUrl, details.imageUrl, details.sourceTitle, details.sourceUrl, details.language, texts.summary,
      details.contentW.empty() ? std::string_view() : item.item.description, texts.plain, moment);
  archive_.run("DELETE FROM categories WHERE item = ?", moment);
  archive_.run("DELETE FROM enclosures WHERE item = ?", moment);
  addLists(moment, details);
  if (hasOtherWords) addWords(moment, item, texts);
}

void ItemWriter::place(std::int64_t moment, std::int64_t place) {
  archive_.run("UPDATE items SET place = ? WHERE moment = ?", place, moment);
}

void ItemWriter::letGo(std::vector<std::int64_t> stayed, CTime lastSeen) {
  std::ranges::sort(stayed);
  std::vector<std::int64_t> gone;
  for (Rows rows = archive_.rows("SELECT moment FROM items WHERE feed = ? AND place IS NOT NULL", feed_);
       rows.next();) {
    if (!std::ranges::binary_search(stayed, rows.integer(0))) gone.push_back(rows.integer(0));
  }
  for (const std::int64_t moment : gone) {
    archive_.run("UPDATE items SET place = NULL, last_seen = max(last_seen, ?) WHERE moment = ?", lastSeen, moment);
  }
}

void ItemWriter::remove(Database& archive, std::int64_t moment) {
  removeWords(archive, moment);
  archive.run("DELETE FROM items WHERE moment = ?", moment);
}

/// The full text is the record's description already, and so is the summary where there is no full text.
ItemWriter::Texts ItemWriter::textsOf(const WrittenItem& item) {
  Texts texts;
  texts.authors = linesOf(item.details.authors);
  texts.summary = item.details.contentW.empty() ? item.item.description : wideToUtf8(item.details.summaryW);
  appendPlainText(texts.plain, item.item.description);
  return texts;
}

/// The index of words keeps no texts: it is told what it has had.
void ItemWriter::removeWords(Database& archive, std::int64_t moment) {
  Rows row = archive.rows("SELECT title, authors, plain FROM searched WHERE moment = ?", moment);
  if (!row.next()) return;
  archive.run("INSERT INTO search(search, rowid, title, authors, plain) VALUES('delete', ?, ?, ?, ?)", moment,
              row.text(0), row.text(1), row.text(2));
}

void ItemWriter::addWords(std::int64_t moment, const WrittenItem& item, const Texts& texts) {
  archive_.run("INSERT INTO search(rowid, title, authors, plain) VALUES(?, ?, ?, ?)", moment, item.item.title,
               texts.authors, texts.plain);
}

void ItemWriter::addLists(std::int64_t moment, const ItemDetails& details) {
  std::int64_t position = 0;
  for (const std::string& category : details.categories) {
    archive_.run("INSERT INTO categories(item, position, name) VALUES(?, ?, ?)", moment, position++, category);
  }
  position = 0;
  for (const Enclosure& enclosure : details.enclosures) {
    archive_.run(
        "INSERT INTO enclosures(item, position, url, type, length, title, duration) VALUES(?, ?, ?, ?, ?, ?, ?)",
        moment, position++, enclosure.url, enclosure.type, enclosure.length, enclosure.title,
        enclosure.durationSeconds);
  }
}

/// The next one of `second`; where a second is full, of one before.
std::int64_t ItemWriter::freeMoment(std::int64_t second) {
  for (;; --second) {
    const std::int64_t first = second * kMomentsPerSecond;
    const auto [next, isUnread] = nextMoments_.try_emplace(second, first);
    if (isUnread) {
      const std::int64_t last = archive_.integer("SELECT max(moment) FROM items WHERE moment >= ? AND moment < ?",
                                                 first, first + kMomentsPerSecond);
      next->second = std::max(first, last + 1);
    }
    if (next->second < first + kMomentsPerSecond) return next->second++;
  }
}

}  // namespace quillmoria
