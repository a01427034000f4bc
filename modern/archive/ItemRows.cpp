#include "modern/archive/ItemRows.h"

#include <algorithm>

#include "platform/CodePage.h"

namespace quillmoria {
namespace {

/// The columns of kItemColumns and kTextColumns.
enum Column : int {
  kMoment,
  kId,
  kFirstSeen,
  kPublished,
  kUpdated,
  kGuid,
  kIsPermaLink,
  kLink,
  kTitle,
  kAuthors,
  kCommentsUrl,
  kImageUrl,
  kSourceTitle,
  kSourceUrl,
  kLanguage,
  kSummary,
  kContent,
  kEnd,
};
static_assert(kSummary == kItemColumnCount && kEnd == kItemColumnCount + kTextColumnCount);

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) (all += all.empty() ? "" : ", ") += text;
  return all;
}

CTime dateOf(const ItemDetails& details) {
  if (details.published != CTime()) return details.published;
  return details.updated != CTime() ? details.updated : details.firstSeen;
}

}  // namespace

void readItem(const Rows& row, RSSObject::NewsItemStruct& item, ItemDetails& details) {
  details.id = row.integer(kId);
  details.firstSeen = row.moment(kFirstSeen);
  details.published = row.moment(kPublished);
  details.updated = row.moment(kUpdated);
  item.date = dateOf(details);
  item.guidW = utf8ToWide(row.text(kGuid));
  item.isPermaLink = row.integer(kIsPermaLink) != 0;
  item.link = row.text(kLink);
  item.title = row.text(kTitle);
  item.titleW = utf8ToWide(item.title);
  details.authors = listOf(row.text(kAuthors));
  item.creatorW = utf8ToWide(joined(details.authors));
  details.commentsUrl = row.text(kCommentsUrl);
  details.imageUrl = row.text(kImageUrl);
  details.sourceTitle = row.text(kSourceTitle);
  details.sourceUrl = row.text(kSourceUrl);
  details.language = row.text(kLanguage);
}

void readTexts(const Rows& row, RSSObject::NewsItemStruct& item, ItemDetails& details) {
  const std::string_view summary = row.text(kSummary);
  const std::string_view content = row.text(kContent);
  details.summaryW = utf8ToWide(summary);
  details.contentW = utf8ToWide(content);
  item.description = content.empty() ? summary : content;
  item.descriptionW = content.empty() ? details.summaryW : details.contentW;
}

void readCategory(const Rows& row, ItemDetails& details) { details.categories.emplace_back(row.text(1)); }

void readEnclosure(const Rows& row, ItemDetails& details) {
  Enclosure& enclosure = details.enclosures.emplace_back();
  enclosure.url = row.text(1);
  enclosure.type = row.text(2);
  enclosure.length = row.integer(3);
  enclosure.title = row.text(4);
  enclosure.durationSeconds = row.integer(5);
}

std::string linesOf(const std::vector<std::string>& texts) {
  std::string lines;
  for (const std::string& text : texts) {
    if (!lines.empty()) lines += '\n';
    lines += text;
    std::replace(lines.end() - static_cast<std::ptrdiff_t>(text.size()), lines.end(), '\n', ' ');
  }
  return lines;
}

std::vector<std::string> listOf(std::string_view lines) {
  std::vector<std::string> texts;
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    texts.emplace_back(lines.substr(0, end));
    lines = end == std::string_view::npos ? std::string_view() : lines.substr(end + 1);
  }
  return texts;
}

}  // namespace quillmoria
