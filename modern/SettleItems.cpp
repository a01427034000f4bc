#include "modern/SettleItems.h"

#include <cstddef>
#include <vector>

#include "modern/FeedObject.h"
#include "platform/CodePage.h"
#include "store/ItemMatching.h"

namespace quillmoria {
namespace {

using Item = RSSObject::NewsItemStruct;

/// The cache holds less of a text than UTF-16 can say.
bool isSameText(const std::u16string& fresh, const std::u16string& cached) {
  return fresh == cached || wideToAnsi(fresh) == wideToAnsi(cached);
}

void settleItem(Item& item, ItemDetails& details, const Item* known, CTime now) {
  const bool hasDate = item.date != CTime();
  item.status = known ? kSeenItem : kNewItem;
  if (!hasDate) item.date = known && known->date != CTime() ? known->date : now;
  if (!known) {
    details.firstSeen = now;
  } else if (!hasDate) {
    details.firstSeen = item.date;
  }
  details.changed =
      known && !(isSameText(item.titleW, known->titleW) && isSameText(item.descriptionW, known->descriptionW));
}

}  // namespace

void settleItems(RSSObject& fresh, const RSSObject& cached, CTime now) {
  const std::vector<const Item*> known = findItems(fresh, cached);
  std::vector<ItemDetails>& details = detailsOf(fresh).items;
  details.resize(known.size());
  for (std::size_t i = 0; i < known.size(); ++i) {
    settleItem(fresh.items[i], details[i], known[i], now);
    if (!known[i]) ++fresh.newItemCount;
  }
}

}  // namespace quillmoria
