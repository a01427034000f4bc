#include "modern/archive/StoredDocument.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "modern/archive/ItemRows.h"
#include "modern/archive/KnownFeed.h"
#include "records/FeedObjectAccess.h"

namespace quillmoria {
namespace {

using Item = RSSObject::NewsItemStruct;

/// "SELECT `columns` FROM `table` ..." of the document's items, in its order.
std::string selection(const char* columns, const char* table, const char* key, const char* order) {
  return std::string("SELECT ")
      .append(columns)
      .append(" FROM items INDEXED BY items_in_document CROSS JOIN ")
      .append(table)
      .append(" ON ")
      .append(key)
      .append(" = items.moment WHERE items.feed = ? AND items.place IS NOT NULL ORDER BY items.place")
      .append(order);
}

/// Hands each of `rows`, which begin with an item's moment and are in the order of `moments`, to `read`, with the
/// details of its item.
template <class Read>
void readInOrder(Rows rows, const std::vector<std::int64_t>& moments, std::vector<ItemDetails>& details, Read read) {
  std::size_t at = 0;
  while (rows.next()) {
    while (at < moments.size() && moments[at] != rows.integer(0)) ++at;
    if (at == moments.size()) return;
    read(rows, details[at]);
  }
}

}  // namespace

std::unique_ptr<RSSObject> readDocument(Database& archive, std::int64_t feed, ItemStatus status) {
  const Snapshot snapshot(archive);
  const std::string columns = std::string(kItemColumns).append(", ").append(kTextColumns);
  std::vector<std::int64_t> moments;
  std::vector<Item> items;
  auto details = std::make_shared<FeedDetails>();
  for (Rows rows = archive.rows(selection(columns.c_str(), "texts", "texts.item", ""), feed); rows.next();) {
    moments.push_back(rows.integer(0));
    Item& item = items.emplace_back();
    ItemDetails& itemDetails = details->items.emplace_back();
    readItem(rows, item, itemDetails);
    readTexts(rows, item, itemDetails);
    item.status = status;
  }
  readInOrder(archive.rows(selection(kCategoryColumns, "categories", "categories.item", ", categories.position"), feed),
              moments, details->items, readCategory);
  readInOrder(
      archive.rows(selection(kEnclosureColumns, "enclosures", "enclosures.item", ", enclosures.position"), feed),
      moments, details->items, readEnclosure);

  auto news = std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, 0);
  FeedObjectAccess::setDetails(*news, std::move(details));
  readChannel(archive, feed, *news);
  news->items = new Item[items.size()];
  news->itemCount = static_cast<std::int32_t>(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) news->items[i] = std::move(items[i]);
  return news;
}

}  // namespace quillmoria
