#include "store/ItemMatching.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>
#include <span>
#include <string_view>
#include <vector>

namespace quillmoria {
namespace {

using Item = RSSObject::NewsItemStruct;

/// Hashes bytes as a polynomial over the prime 2^61 - 1 at a random point, so that no feed can be written whose keys
/// collide.
class BytesHash {
 public:
  explicit BytesHash(std::uint64_t point) : point_(point) {}

  std::uint32_t operator()(std::string_view bytes) const noexcept {
    std::uint64_t hash = bytes.size() + 1;
    for (; bytes.size() > kBlockBytes; bytes.remove_prefix(kBlockBytes)) {
      std::uint64_t block;
      std::memcpy(&block, bytes.data(), sizeof block);
      hash = reduced(Wide{hash} * point_ + (block & kBlockMask));
    }
    std::uint64_t last = 0;
    std::memcpy(&last, bytes.data(), bytes.size());
    hash = reduced(Wide{hash} * point_ + last);
    return static_cast<std::uint32_t>(reduced(Wide{hash} * point_));  // whose lowest bits hang on all bytes, too
  }

  static std::uint64_t randomPoint() {
    std::random_device random;
    return std::uniform_int_distribution<std::uint64_t>(1, kPrime - 1)(random);
  }

 private:
  __extension__ using Wide = unsigned __int128;
  static constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61) - 1;
  static_assert(std::endian::native == std::endian::little, "the last byte of a word is in its highest bits");
  static constexpr std::size_t kBlockBytes = 7;  ///< always below the prime
  static constexpr std::uint64_t kBlockMask = (std::uint64_t{1} << 8 * kBlockBytes) - 1;

  static std::uint64_t reduced(Wide value) {
    const std::uint64_t sum = static_cast<std::uint64_t>(value & kPrime) + static_cast<std::uint64_t>(value >> 61);
    return sum < kPrime ? sum : sum - kPrime;
  }

  std::uint64_t point_;
};

/// Finds the first of several items by one of their texts, which must stay as they are. Takes in only as many items as
/// it has to look at: a feed mostly repeats what the cache holds in the same order, and by one of two texts throughout.
template <class Text>
class ItemIndex {
 public:
  ItemIndex(std::span<const Item> items, const Text Item::*key, BytesHash hash)
      : items_(items), key_(key), hash_(hash) {}

  /// The hash of others[at], which is to be looked for soon.
  std::uint32_t prepare(std::span<const Item> others, std::size_t at) {
    if (places_.empty()) makeRoom();
    fetchAhead(others, at);
    const std::uint32_t hash = hash_(keyOf(others[at]));
    __builtin_prefetch(&places_[hash & (places_.size() - 1)]);
    return hash;
  }

  /// The first item with the text of `other`, or null.
  const Item* find(const Item& other, std::uint32_t hash) {
    const std::string_view key = keyOf(other);
    std::uint32_t place = placeOf(key, hash);
    while (place == kNone && hashes_.size() < items_.size()) {
      const std::uint32_t next = takeIn();
      if (isAt(next, key, hash)) place = next;
    }
    return place == kNone ? nullptr : &items_[place];
  }

 private:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  std::string_view keyOf(const Item& item) const {
    const Text& text = item.*key_;
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(typename Text::value_type)};
  }

  /// Has the processor fetch what is soon looked at of the items after `at`: its caches hold nothing of a large feed.
  void fetchAhead(std::span<const Item> items, std::size_t at) const {
    constexpr std::size_t kKeyDistance = 8;
    constexpr std::size_t kItemDistance = 2 * kKeyDistance;  // where a key is, its item says
    if (at + kItemDistance >= items.size()) return;
    const Item& item = items[at + kItemDistance];
    __builtin_prefetch(&(item.*key_));
    __builtin_prefetch(&item.date);
    __builtin_prefetch(keyOf(items[at + kKeyDistance]).data());
  }

  void makeRoom() {
    places_.assign(std::bit_ceil(2 * items_.size() + 1), kNone);
    hashes_.reserve(items_.size());
  }

  /// Takes in one more item and returns its number.
  std::uint32_t takeIn() {
    const auto next = static_cast<std::uint32_t>(hashes_.size());
    fetchAhead(items_, next);
    const std::string_view key = keyOf(items_[next]);
    hashes_.push_back(hash_(key));
    std::uint32_t& place = placeOf(key, hashes_.back());
    if (place == kNone) place = next;
    return next;
  }

  bool isAt(std::uint32_t place, std::string_view key, std::uint32_t hash) const {
    return hashes_[place] == hash && keyOf(items_[place]) == key;
  }

  /// Where the number of the first item of this key is, or would be: at the first such place from its hash on. Half of
  /// the places are free.
  std::uint32_t& placeOf(std::string_view key, std::uint32_t hash) {
    for (std::size_t at = hash;; ++at) {
      std::uint32_t& place = places_[at & (places_.size() - 1)];
      if (place == kNone || isAt(place, key, hash)) return place;
    }
  }

  std::span<const Item> items_;
  const Text Item::*key_;
  BytesHash hash_;
  std::vector<std::uint32_t> hashes_;  ///< of the items taken in
  std::vector<std::uint32_t> places_;  ///< numbers of items
};

/// The items of a cache file. Compatibility: each is found by its identifier, or by its link, even an empty one, if it
/// is looked for without an identifier, but never by both.
class CachedItems {
 public:
  explicit CachedItems(std::span<const Item> items)
      : byIdentifier_(items, &Item::guidW, hash()), byLink_(items, &Item::link, hash()) {}

  /// The hash of items[at], which is to be looked for soon.
  std::uint32_t prepare(std::span<const Item> items, std::size_t at) {
    return items[at].guidW.empty() ? byLink_.prepare(items, at) : byIdentifier_.prepare(items, at);
  }

  /// The first one that is the same as `item`, or null.
  const Item* find(const Item& item, std::uint32_t hash) {
    return item.guidW.empty() ? byLink_.find(item, hash) : byIdentifier_.find(item, hash);
  }

 private:
  static BytesHash hash() {
    static const BytesHash hash(BytesHash::randomPoint());  // a point takes longer than to match most feeds
    return hash;
  }

  ItemIndex<std::u16string> byIdentifier_;
  ItemIndex<std::string> byLink_;
};

std::span<Item> itemsOf(const RSSObject& feed) {
  return {feed.items, static_cast<std::size_t>(std::max(feed.itemCount, 0))};
}

/// Marks an item that is the same as `known`, or new if that is null. Compatibility: the date is that of the cache.
void mark(Item& item, const Item* known) {
  item.status = known ? kSeenItem : kNewItem;
  if (known) item.date = known->date;
}

}  // namespace

void matchItems(RSSObject& fresh, const RSSObject& cached) {
  constexpr std::size_t kPreparedItems = 16;
  std::uint32_t hashes[kPreparedItems];
  CachedItems known(itemsOf(cached));
  const std::span<Item> items = itemsOf(fresh);
  for (std::size_t start = 0; start < items.size(); start += kPreparedItems) {
    const std::size_t count = std::min(items.size() - start, kPreparedItems);
    for (std::size_t i = 0; i < count; ++i) hashes[i] = known.prepare(items, start + i);
    for (std::size_t i = 0; i < count; ++i) {
      Item& item = items[start + i];
      mark(item, known.find(item, hashes[i]));
      if (item.status == kNewItem) ++fresh.newItemCount;
    }
  }
}

void unmatchItems(RSSObject& fresh) {
  for (Item& item : itemsOf(fresh)) item.status = kUncomparedItem;
  fresh.newItemCount = 0;
}

}  // namespace quillmoria
