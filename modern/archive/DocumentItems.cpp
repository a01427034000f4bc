#include "modern/archive/DocumentItems.h"

#include <algorithm>
#include <cstddef>

#include "modern/archive/Retention.h"
#include "quillmoria/NewsDetails.h"
#include "records/FeedObjectAccess.h"

namespace quillmoria {

DocumentItems::DocumentItems(RSSObject& news, Unmet unmet) : news_(news), unmet_(unmet), keys_(keysOf(news)) {}

void DocumentItems::match(Database& archive, std::int64_t feed, CTime now) {
  known_ = findKnownItems(archive, feed, keys_);
  tell(now);
}

void DocumentItems::matchNothing(CTime now) {
  known_.assign(keys_.size(), KnownItem());
  tell(now);
}

void DocumentItems::tell(CTime now) {
  std::vector<ItemDetails>& details = FeedObjectAccess::details(news_)->items;
  for (std::size_t i = 0; i < known_.size(); ++i) details[i].id = known_[i].id;
  if (unmet_ != Unmet::AreNew) return;
  news_.newItemCount = 0;
  for (std::size_t i = 0; i < known_.size(); ++i) {
    const KnownItem& known = known_[i];
    RSSObject::NewsItemStruct& item = news_.items[i];
    item.status = known.isKnown ? kSeenItem : kNewItem;
    if (!known.isKnown) ++news_.newItemCount;
    details[i].changed = known.content != 0 && known.content != keys_[i].content;
    details[i].firstSeen = known.moment != 0 ? known.firstSeen : now;
    if (details[i].published == CTime() && details[i].updated == CTime()) item.date = details[i].firstSeen;
  }
}

void DocumentItems::store(Database& archive, std::int64_t feed, CTime now, CTime lastSeen) {
  if (keys_.empty()) return;
  ItemWriter writer(archive, feed);
  const std::vector<std::int64_t> wanted = places();
  std::vector<std::int64_t> stayed;
  for (const KnownItem& known : known_) {
    if (known.moment != 0) stayed.push_back(known.moment);
  }
  writer.letGo(std::move(stayed), lastSeen);
  storeKnown(writer, wanted);
  if (storeNew(writer, wanted, now)) forgetItems(archive, feed, now);
}

/// Lowest at the top. Items that have a place keep it as far as their order holds, so that of a document that has
/// gained items at its top no other row is written.
std::vector<std::int64_t> DocumentItems::places() const {
  std::int64_t highest = 0;
  std::int64_t added = 0;  // below all that have a place
  for (const KnownItem& known : known_) {
    added = known.place ? 0 : added + 1;
    if (known.place) highest = std::max(highest, *known.place);
  }
  std::vector<std::int64_t> places(known_.size());
  std::int64_t below = highest + added + 1;
  for (std::size_t i = known_.size(); i-- > 0;) {
    below = known_[i].place && *known_[i].place < below ? *known_[i].place : below - 1;
    places[i] = below;
  }
  return places;
}

void DocumentItems::storeKnown(ItemWriter& writer, const std::vector<std::int64_t>& places) {
  const std::vector<ItemDetails>& details = FeedObjectAccess::details(news_)->items;
  for (std::size_t i = 0; i < known_.size(); ++i) {
    const KnownItem& known = known_[i];
    if (known.moment == 0) continue;
    if (known.place != places[i]) writer.place(known.moment, places[i]);
    if (known.record != keys_[i].record) {
      writer.update(known.moment, {news_.items[i], details[i], keys_[i]}, known.content != keys_[i].content);
    }
  }
}

/// From the end on: later in the document is older. Returns whether there are any.
bool DocumentItems::storeNew(ItemWriter& writer, const std::vector<std::int64_t>& places, CTime now) {
  const auto isStored = [](const KnownItem& known) { return known.moment != 0; };
  const auto count = std::ranges::count_if(known_, [&](const KnownItem& known) { return !isStored(known); });
  if (count == 0) return false;
  std::vector<ItemDetails>& details = FeedObjectAccess::details(news_)->items;
  std::int64_t id = writer.takeIds(count);
  const bool isRead = unmet_ == Unmet::AreOutdated;
  for (std::size_t i = known_.size(); i-- > 0;) {
    if (isStored(known_[i])) continue;
    details[i].id = id++;
    ItemKeys keys = keys_[i];
    if (isRead) keys.content = keys.record = 0;
    writer.insert({news_.items[i], details[i], keys}, places[i], isRead, now);
  }
  return true;
}

}  // namespace quillmoria
