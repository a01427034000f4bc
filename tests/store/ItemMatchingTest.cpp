#include "store/ItemMatching.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace {

struct Key {
  const char16_t* guid;
  const char* link;
};

/// A feed of such items, dated from `date` on, one second apart.
std::unique_ptr<RSSObject> feed(const std::vector<Key>& keys, std::int32_t date) {
  auto items = std::make_unique<RSSObject::NewsItemStruct[]>(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    items[i].guidW = keys[i].guid;
    items[i].link = keys[i].link;
    items[i].date = date++;
  }
  return std::make_unique<RSSObject>(RSSObject::ChannelStruct(), items.release(),
                                     static_cast<std::int32_t>(keys.size()));
}

}  // namespace

TEST(ItemMatching, FindsTheFirstCachedItemByIdentifierElseByLink) {
  const auto cached = feed({{u"id", "a"}, {u"id", "b"}, {u"", "c"}, {u"other", "c"}, {u"", ""}}, 100);
  const struct {
    Key key;
    std::int32_t date;  ///< of the match, or its own, which is 7
    const char* why;
  } rows[] = {
      {{u"id", "z"}, 100, "the first of two with the identifier"},
      {{u"", "b"}, 101, "by link, whatever the identifier there"},
      {{u"", "c"}, 102, "the first of two with the link"},
      {{u"x", "c"}, 7, "an identifier is not looked up by link"},
      {{u"ID", "a"}, 7, "letter case counts"},
      {{u"id-and-more", "a"}, 7, "a whole key, not its beginning"},
      {{u"", ""}, 104, "an empty link is a key"},
  };
  for (const auto& [key, date, why] : rows) {
    const auto fresh = feed({key}, 7);
    quillmoria::matchItems(*fresh, *cached);
    EXPECT_EQ(fresh->items[0].date.GetTime(), date) << why;
    EXPECT_EQ(fresh->items[0].status, date == 7 ? 2 : 3) << why;
    EXPECT_EQ(fresh->newItemCount, date == 7) << why;
  }
}

TEST(ItemMatching, CountsEveryItemOfAFeedThatWasNotCachedAsNew) {
  const auto fresh = feed({{u"id", ""}, {u"id", ""}, {u"", ""}}, 7);
  quillmoria::matchItems(*fresh, RSSObject(RSSObject::ChannelStruct(), nullptr, -1));
  EXPECT_EQ(fresh->newItemCount, 3);
}

TEST(ItemMatching, TellsManyLongKeysApart) {
  std::vector<std::u16string> guids;
  std::vector<Key> keys;
  for (int i = 0; i < 2000; ++i) guids.push_back(std::u16string(50, u'x') + static_cast<char16_t>(i + 1));
  for (const auto& guid : guids) keys.push_back({guid.c_str(), ""});
  const auto cached = feed(keys, 1000);
  std::ranges::reverse(keys);
  const auto fresh = feed(keys, 0);
  quillmoria::matchItems(*fresh, *cached);
  for (int i = 0; i < 2000; ++i) EXPECT_EQ(fresh->items[i].date.GetTime(), 2999 - i);
}
