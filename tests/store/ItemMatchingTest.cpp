#include "store/ItemMatching.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct Key {
  std::u16string guid;
  std::string link;
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
  std::vector<Key> known{{u"id", "a"}, {u"id", "b"}, {u"", "c"}, {u"other", "c"}, {u"", ""}};
  for (char16_t i = 1; i <= 1000; ++i) known.push_back({std::u16string(50, u'x') + i, "many"});
  const auto cached = feed(known, 100);
  const struct {
    Key key;
    std::int32_t date;  ///< of the match, or 7, its own
    const char* why;
  } rows[] = {
      {{u"id", "z"}, 100, "the first of two with the identifier"},
      {{u"", "b"}, 101, "by link, whatever the identifier there"},
      {{u"", "c"}, 102, "the first of two with the link"},
      {{u"x", "c"}, 7, "an identifier is not looked up by link"},
      {{u"ID", "a"}, 7, "letter case counts"},
      {{u"id-and-more", "a"}, 7, "a whole key, not its beginning"},
      {{u"", ""}, 104, "an empty link is a key"},
      {{std::u16string(50, u'x') + char16_t{1000}, ""}, 1104, "a difference at the end of a long key"},
  };
  for (const auto& [key, date, why] : rows) {
    const auto fresh = feed({key}, 7);
    quillmoria::matchItems(*fresh, *cached);
    EXPECT_EQ(fresh->items[0].date.GetTime(), date) << why;
    EXPECT_EQ(fresh->items[0].status, date == 7 ? 2 : 3) << why;
    EXPECT_EQ(fresh->newItemCount, date == 7) << why;
  }
  const auto fresh = feed({{u"id", ""}, {u"id", ""}, {u"", ""}}, 7);
  quillmoria::matchItems(*fresh, RSSObject(RSSObject::ChannelStruct(), nullptr, -1));
  EXPECT_EQ(fresh->newItemCount, 3);
}
