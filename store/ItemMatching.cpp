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

// Values of an item's status.
constexpr std::int32_t kUnmatched = 0;
constexpr std::int32_t kNew = 2;
constexpr std::int32_t kSeen = 3;

/// Hashes a text as a polynomial over the prime 2^61 - 1 at a random point, so that no feed can be written whose keys
/// collide.
class TextHash {
 public:
  explicit TextHash(std::uint64_t point) : point_(point) {}

  template <class Text>
  std::size_t operator()(Text text) const noexcept {
    const char* bytes = reinterpret_cast<const char*>(text.data());
    std::size_t left = text.size() * sizeof(typename Text::value_type);
    std::uint64_t hash = left + 1;
    while (left > 0) {
      std::uint64_t block = 0;
      const std::size_t taken = std::min(left, kBlockBytes);
      std::memcpy(&block, bytes, taken);
      hash = reduced(Wide{hash} * point_ + block);
      bytes += taken;
      left -= taken;
    }
    return reduced(Wide{hash} * point_);  // also its lowest bits hang on the whole text
  }

  static std::uint64_t randomPoint() {
    std::random_device random;
    return std::uniform_int_distribution<std::uint64_t>(1, kPrime - 1)(random);
  }

 private:
  __extension__ using Wide = unsigned __int128;
  static constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61) - 1;
  static constexpr std::size_t kBlockBytes = 7;  ///< always below the prime

  static std::uint64_t reduced(Wide value) {
    const std::uint64_t sum = static_cast<std::uint64_t>(value & kPrime) + static_cast<std::uint64_t>(value >> 61);
    return sum < kPrime ? sum : sum - kPrime;
  }

  std::uint64_t point_;
};

/// Finds the first of several items by one of their texts, which must stay as they are. Made at the first look-up,
/// since most feeds are looked up either by identifier or by link throughout.
template <class Text>
class ItemIndex {
 public:
  ItemIndex(std::span<const Item> items, const Text Item::*key, TextHash hash)
      : items_(items), key_(key), hash_(hash) {}

  const Item* find(const Text& text) {
    if (slots_.empty()) build();
    return slotOf(text, hash_(View(text)))->item;
  }

 private:
  using View = std::basic_string_view<typename Text::value_type>;

  /// An item with its text's hash, which mostly spares a look at the text; or none.
  struct Slot {
    std::size_t hash = 0;
    const Item* item = nullptr;
  };

  void build() {
    slots_.resize(std::bit_ceil(2 * items_.size() + 1));
    for (const Item& item : items_) {
      const std::size_t hash = hash_(View(item.*key_));
      Slot* const slot = slotOf(item.*key_, hash);
      if (!slot->item) *slot = {hash, &item};
    }
  }

  /// Where the item of this text is, or would be: at the first such slot from its hash on. Half of the slots are free.
  Slot* slotOf(const Text& text, std::size_t hash) {
    for (std::size_t at = hash;; ++at) {
      Slot& slot = slots_[at & (slots_.size() - 1)];
      if (!slot.item || (slot.hash == hash && slot.item->*key_ == text)) return &slot;
    }
  }

  std::span<const Item> items_;
  const Text Item::*key_;
  TextHash hash_;
  std::vector<Slot> slots_;
};

std::span<Item> itemsOf(const RSSObject& feed) {
  return {feed.items, static_cast<std::size_t>(std::max(feed.itemCount, 0))};
}

}  // namespace

void matchItems(RSSObject& fresh, const RSSObject& cached) {
  static const TextHash hash(TextHash::randomPoint());  // a point takes longer than to match most feeds
  ItemIndex byIdentifier(itemsOf(cached), &Item::guidW, hash);
  ItemIndex byLink(itemsOf(cached), &Item::link, hash);
  for (Item& item : itemsOf(fresh)) {
    const Item* known = item.guidW.empty() ? byLink.find(item.link) : byIdentifier.find(item.guidW);
    item.status = known ? kSeen : kNew;
    if (known) {
      item.date = known->date;
    } else {
      ++fresh.newItemCount;
    }
  }
}

void unmatchItems(RSSObject& fresh) {
  for (Item& item : itemsOf(fresh)) item.status = kUnmatched;
  fresh.newItemCount = 0;
}

}  // namespace quillmoria
