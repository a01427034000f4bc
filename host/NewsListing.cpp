#include "NewsListing.h"

#include <algorithm>
#include <limits>
#include <span>

#include "ItemText.h"
#include "Pull.h"
#include "Text.h"
#include "WebAddress.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {
namespace {

using Item = RSSObject::NewsItemStruct;

constexpr std::size_t kMaxShortItems = 50;
constexpr std::size_t kMaxShortTitleColumns = 200;
constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

std::span<const Item> itemsOf(const RSSObject& news) {
  return {news.getNewsItems(), static_cast<std::size_t>(news.itemCount)};
}

/// The time is shown by a 24-hour clock, which needs no AM or PM.
std::string zoneText(const Item& item) {
  const std::string& suffix = item.timeSuffix;
  return suffix.empty() || suffix == "AM" || suffix == "PM" ? "" : " " + suffix;
}

bool isNew(const Item& item) { return item.status == kNewItem; }

std::string cutTo(std::size_t columns, const std::string& title) {
  const std::string_view start = firstColumns(title, columns);
  return start.size() == title.size() ? title : std::string(start) + "...";
}

/// Lists as many items as there may be in their order: if that is not all, new ones rather than others.
void listItems(Output& output, std::span<const Item> items, std::size_t maxItems, std::size_t maxTitleColumns) {
  std::size_t newLeft = std::min(static_cast<std::size_t>(std::ranges::count_if(items, isNew)), maxItems);
  std::size_t othersLeft = maxItems - newLeft;
  for (const Item& item : items) {
    std::size_t& left = isNew(item) ? newLeft : othersLeft;
    if (left == 0) continue;
    --left;
    output.line((isNew(item) ? "  * " : "    ") + timeText(item.date) + "  " + cutTo(maxTitleColumns, titleText(item)));
  }
  if (items.size() > maxItems) output.line("    ... and " + std::to_string(items.size() - maxItems) + " more");
}

void lineIfAny(Output& output, std::string_view before, std::string_view text) {
  const std::string words = collapsed(text);
  if (!words.empty()) output.line(std::string(before) + words);
}

/// What is to be said of a feed that has not failed; mostly nothing.
std::string remarkOn(const RSSObject& news) {
  const FeedDetails* const details = news.GetDetails();
  if (!details) return "";
  if (details->outcome == Outcome::NotModified) return "not modified";
  return news.statusMessage == kStatusOk ? "" : withoutUserInformation(news.statusMessage);
}

void listDetails(Output& output, const FeedDetails& details) {
  lineIfAny(output, "  ", details.format + (details.wasRepaired ? ", repaired" : ""));
  lineIfAny(output, "  has moved to ", withoutUserInformation(details.movedTo));
  lineIfAny(output, "  worth asking again from ", details.nextDue == CTime() ? "" : timeText(details.nextDue));
}

}  // namespace

std::string outcome(const RSSObject& news) {
  if (hasFailed(news)) return failureText(news);
  const std::string remark = remarkOn(news);
  if (news.itemCount < 0) return remark;
  return counted(static_cast<std::size_t>(news.itemCount), "item") + ", " + std::to_string(news.newItemCount) + " new" +
         (remark.empty() ? "" : ", " + remark);
}

void listNews(Output& output, std::string_view name, const RSSObject& news, Extent extent) {
  output.line("  " + std::string(name) + ": " + outcome(news));
  if (hasFailed(news) || news.itemCount < 0) return;
  const std::span<const Item> items = itemsOf(news);
  if (extent == Extent::Whole) {
    listItems(output, items, items.size(), kNoLimit);
  } else {
    listItems(output, items, kMaxShortItems, kMaxShortTitleColumns);
  }
}

void listFeed(Output& output, const RSSObject& news) {
  const RSSObject::ChannelStruct& channel = news.channel;
  lineIfAny(output, "", channel.titleW.empty() ? channel.feedName : toUtf8(channel.titleW));
  lineIfAny(output, "  ", withoutUserInformation(channel.link));
  lineIfAny(output, "  ", toUtf8(channel.descriptionW));
  const FeedDetails* const details = news.GetDetails();
  if (details) listDetails(output, *details);
  if (const CPicture* picture = news.GetChannelPicture(); picture && picture->picture) {
    output.line("  picture: " + std::to_string(picture->picture->width()) + " x " +
                std::to_string(picture->picture->height()));
  }
  const std::span<const Item> items = itemsOf(news);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const Item& item = items[i];
    output.line("");
    output.line(timeText(item.date) + zoneText(item) + "  " + titleText(item));
    lineIfAny(output, "  by ", toUtf8(item.creatorW));
    lineIfAny(output, "  ", withoutUserInformation(item.link));
    if (!details || i >= details->items.size()) continue;
    for (const Enclosure& enclosure : details->items[i].enclosures)
      lineIfAny(output, "  with ", enclosureText(enclosure));
  }
}

}  // namespace quillmoria
