#include "modern/archive/KnownItems.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <tuple>

namespace quillmoria {
namespace {

/// Items that have the same key and the same link, as numbers of the document's items.
using Group = std::span<std::uint32_t>;

/// Rows of a group that are looked at beyond one for each of its items.
constexpr std::int64_t kSpareRows = 8;

std::vector<KnownItem> readRows(Rows rows) {
  std::vector<KnownItem> found;
  while (rows.next()) {
    KnownItem& item = found.emplace_back();
    item.isKnown = true;
    item.moment = rows.integer(0);
    item.id = rows.integer(1);
    item.content = rows.integer(2);
    item.record = rows.integer(3);
    item.firstSeen = rows.moment(4);
    if (!rows.isNull(5)) item.place = rows.integer(5);
  }
  return found;
}

class Search {
 public:
  Search(Database& archive, std::int64_t feed, std::span<const ItemKeys> keys)
      : archive_(archive), feed_(feed), keys_(keys), order_(keys.size()), found_(keys.size()) {
    std::iota(order_.begin(), order_.end(), 0U);
    std::ranges::sort(order_, {},
                      [&](std::uint32_t item) { return std::tuple(keys_[item].key, keys_[item].link, item); });
  }

  std::vector<KnownItem> run() {
    for (std::size_t begin = 0; begin < order_.size();) {
      std::size_t end = begin + 1;
      while (end < order_.size() && isSameKey(begin, end) && at(end).link == at(begin).link) ++end;
      const bool hasKeyAlone = end == begin + 1 && !isSameKey(begin, begin - 1) && !isSameKey(begin, end);
      find(Group(order_).subspan(begin, end - begin), hasKeyAlone);
      begin = end;
    }
    return std::move(found_);
  }

 private:
  const ItemKeys& at(std::size_t place) const { return keys_[order_[place]]; }

  bool isSameKey(std::size_t place, std::size_t other) const {
    return other < order_.size() && at(other).key == at(place).key;
  }

  void find(Group group, bool hasKeyAlone) {
    const ItemKeys& keys = keys_[group.front()];
    std::vector<KnownItem> rows =
        readRows(archive_.rows("SELECT moment, id, content_key, record_key, first_seen, place FROM items "
                               "WHERE feed = ? AND key = ? AND link_key = ? ORDER BY moment DESC LIMIT ?",
                               feed_, keys.key, keys.link, static_cast<std::int64_t>(group.size()) + kSpareRows));
    if (rows.empty() && hasKeyAlone) {
      rows =
          readRows(archive_.rows("SELECT moment, id, content_key, record_key, first_seen, place FROM items "
                                 "WHERE feed = ? AND key = ? LIMIT 2",
                                 feed_, keys.key));
      if (rows.size() > 1) rows.clear();
    }
    if (!rows.empty()) assign(group, rows);
  }

  /// Where one row may stand for several items, or the other way round, only the same content is the same item: a row
  /// must not become that of another one.
  void assign(Group group, std::vector<KnownItem>& rows) {
    for (const std::uint32_t item : group) found_[item].isKnown = true;
    if (group.size() == 1 && rows.size() == 1) {
      found_[group.front()] = rows.front();
      return;
    }
    const auto contentOf = [&](std::uint32_t item) { return std::tuple(keys_[item].content, item); };
    std::ranges::sort(group, {}, contentOf);
    std::ranges::stable_sort(rows, {}, &KnownItem::content);
    auto row = rows.begin();
    for (const std::uint32_t item : group) {
      while (row != rows.end() && row->content < keys_[item].content) ++row;
      if (row != rows.end() && row->content == keys_[item].content) found_[item] = *row++;
    }
  }

  Database& archive_;
  const std::int64_t feed_;
  const std::span<const ItemKeys> keys_;
  std::vector<std::uint32_t> order_;  ///< the items' numbers, by key and link
  std::vector<KnownItem> found_;
};

}  // namespace

std::vector<KnownItem> findKnownItems(Database& archive, std::int64_t feed, std::span<const ItemKeys> keys) {
  const bool hasItems = archive.integer("SELECT 1 FROM items WHERE feed = ? LIMIT 1", feed) != 0;
  return hasItems ? Search(archive, feed, keys).run() : std::vector<KnownItem>(keys.size());
}

}  // namespace quillmoria
