#include "modern/SettleItems.h"

#include <gmock/gmock.h>

#include "modern/FeedObject.h"
#include "support/Table.h"

namespace {

std::unique_ptr<RSSObject> objectOf(const std::string& guid, const std::string& title, const std::string& date) {
  auto news = std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, 1);
  news->items = new RSSObject::NewsItemStruct[1];
  RSSObject::NewsItemStruct& item = news->items[0];
  item.guidW.assign(guid.begin(), guid.end());
  item.titleW.assign(title.begin(), title.end());
  item.date = date.empty() ? CTime() : CTime(std::stoi(date));
  quillmoria::makeDetails(*news);
  return news;
}

std::string textOf(CTime time) { return time == CTime() ? "" : std::to_string(time.GetTime()); }

TEST(SettleItems, TellsWhatIsNewAndKeepsWhenItWasSeenFirst) {
  for (const auto& [guid, title, date, cachedTitle, cachedDate, status, keptDate, firstSeen, changed] :
       readTable<9>("modern/settled.tsv")) {
    const auto fresh = objectOf(guid, title, date);
    quillmoria::settleItems(*fresh, *objectOf("a", cachedTitle, cachedDate), CTime(1000));
    const ItemDetails& details = fresh->GetDetails()->items.at(0);
    EXPECT_EQ(std::to_string(fresh->items[0].status), status) << guid << title << date;
    EXPECT_EQ(textOf(fresh->items[0].date), keptDate) << guid << title << date;
    EXPECT_EQ(textOf(details.firstSeen), firstSeen) << guid << title << date;
    EXPECT_EQ(details.changed ? "changed" : "", changed) << guid << title << date;
    EXPECT_EQ(fresh->newItemCount, status == "2" ? 1 : 0);
  }
}

}  // namespace
