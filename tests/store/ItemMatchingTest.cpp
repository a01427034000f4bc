#include "store/ItemMatching.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "platform/CodePage.h"
#include "support/Table.h"

namespace {

/// A feed of items with these identifiers and links, dated from `date` on, one second apart.
std::unique_ptr<RSSObject> feed(const std::vector<std::pair<std::string, std::string>>& keys, std::int32_t date) {
  auto items = std::make_unique<RSSObject::NewsItemStruct[]>(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    items[i].guidW = quillmoria::utf8ToWide(keys[i].first);
    items[i].link = keys[i].second;
    items[i].date = date++;
  }
  return std::make_unique<RSSObject>(RSSObject::ChannelStruct(), items.release(),
                                     static_cast<std::int32_t>(keys.size()));
}

}  // namespace

TEST(ItemMatching, FindsTheFirstCachedItemByIdentifierElseByLink) {
  std::vector<std::pair<std::string, std::string>> known{{"id", "a"}, {"id", "b"}, {"", "c"}, {"other", "c"}, {"", ""}};
  for (int i = 1; i <= 1000; ++i) known.emplace_back(std::string(50, 'x') + std::to_string(i), "many");
  const auto cached = feed(known, 100);
  for (const auto& [identifier, link, date, why] : readTable<4>("store/matches.tsv")) {
    const auto fresh = feed({{identifier, link}}, 7);
    quillmoria::matchItems(*fresh, *cached);
    const bool isNew = date == "7";
    EXPECT_EQ(std::to_string(fresh->items[0].date.GetTime()), date) << why;
    EXPECT_EQ(fresh->items[0].status, isNew ? 2 : 3) << why;
    EXPECT_EQ(fresh->newItemCount, isNew) << why;
  }
  const auto fresh = feed({{"id", ""}, {"id", ""}, {"", ""}}, 7);
  quillmoria::matchItems(*fresh, RSSObject(RSSObject::ChannelStruct(), nullptr, -1));
  EXPECT_EQ(fresh->newItemCount, 3);
}

TEST(ItemMatching, FindsTheFirstInWhateverOrderItemsCome) {
  std::mt19937 random(1);
  const auto someKeys = [&random](std::size_t most) {
    std::vector<std::pair<std::string, std::string>> keys(random() % most);
    for (auto& [identifier, link] : keys) {
      identifier = random() % 4 ? "tag:" + std::to_string(random() % 60) : "";
      link = "http://" + std::to_string(random() % 60);
    }
    return keys;
  };
  for (int round = 0; round < 500; ++round) {
    const auto known = someKeys(100);
    auto keys = known;
    std::shuffle(keys.begin() + static_cast<std::ptrdiff_t>(random() % (keys.size() + 1)), keys.end(), random);
    const auto newest = someKeys(5);
    keys.insert(keys.begin(), newest.begin(), newest.end());

    const auto fresh = feed(keys, 10'000);
    quillmoria::matchItems(*fresh, *feed(known, 100));
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const auto found = std::find_if(known.begin(), known.end(), [&key = keys[i]](const auto& other) {
        return key.first.empty() ? other.second == key.second : other.first == key.first;
      });
      const auto date = found == known.end() ? 10'000 + static_cast<std::int32_t>(i)
                                             : 100 + static_cast<std::int32_t>(found - known.begin());
      ASSERT_EQ(fresh->items[i].date, CTime(date)) << "item " << i << " of round " << round;
    }
  }
}
