#include "modern/archive/ItemKeys.h"

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Digest.h"
#include "quillmoria/NewsDetails.h"
#include "records/FeedObjectAccess.h"

namespace quillmoria {
namespace {

std::string_view bytesOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

template <class... Parts>
std::int64_t digest(const Parts&... parts) {
  const std::string_view all[] = {parts...};
  return digestOf(all);
}

class KeyMaker {
 public:
  ItemKeys keysOf(const RSSObject::NewsItemStruct& item, const ItemDetails& details) {
    ItemKeys keys;
    keys.link = digest("link", item.link);
    keys.content = digest("content", item.title, item.description);
    keys.key = keyOf(item, details, keys);
    keys.record = recordOf(item, details, keys);
    return keys;
  }

 private:
  std::int64_t keyOf(const RSSObject::NewsItemStruct& item, const ItemDetails& details, const ItemKeys& keys) {
    if (!item.guidW.empty()) return digest("id", bytesOf(item.guidW));
    if (!item.link.empty()) return keys.link;
    scratch_.clear();
    add(details.published, details.updated, keys.content);
    return digest("text", scratch_);
  }

  std::int64_t recordOf(const RSSObject::NewsItemStruct& item, const ItemDetails& details, const ItemKeys& keys) {
    scratch_.clear();
    add(keys.content, keys.link, item.isPermaLink, details.published, details.updated);
    for (const auto* list : {&details.authors, &details.categories}) {
      add(list->size());
      for (const std::string& text : *list) add(text);
    }
    for (const Enclosure& enclosure : details.enclosures) {
      add(enclosure.url, enclosure.type, enclosure.length, enclosure.title, enclosure.durationSeconds);
    }
    for (const std::string* text :
         {&details.commentsUrl, &details.imageUrl, &details.sourceTitle, &details.sourceUrl, &details.language}) {
      add(*text);
    }
    const std::u16string_view summary = details.contentW.empty() ? std::u16string_view() : details.summaryW;
    return digest("record", bytesOf(summary), scratch_);
  }

  template <class... Values>
  void add(const Values&... values) {
    (addOne(values), ...);
  }
  void addOne(const std::string& text) {
    addOne(text.size());
    scratch_ += text;
  }
  void addOne(CTime time) { addOne(time.GetTime()); }
  template <class Number>
  void addOne(Number number) {
    scratch_.append(std::to_string(number)).append(1, ' ');
  }

  std::string scratch_;
};

}  // namespace

std::vector<ItemKeys> keysOf(RSSObject& news) {
  const std::vector<ItemDetails>& details = FeedObjectAccess::details(news)->items;
  std::vector<ItemKeys> keys;
  keys.reserve(details.size());
  KeyMaker maker;
  for (std::size_t i = 0; i < details.size(); ++i) keys.push_back(maker.keysOf(news.items[i], details[i]));
  return keys;
}

}  // namespace quillmoria
