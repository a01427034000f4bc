#include "NewsListing.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <span>

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
constexpr char kTimePattern[] = "%Y-%m-%d %H:%M";
constexpr std::string_view kNoTime = "                ";

std::span<const Item> itemsOf(const RSSObject& news) {
  return {news.getNewsItems(), static_cast<std::size_t>(news.itemCount)};
}

std::string timeText(const Item& item) {
  const std::string text = item.date.Format(kTimePattern);
  return text.empty() ? std::string(kNoTime) : text;
}

/// The time is shown by a 24-hour clock, which needs no AM or PM.
std::string zoneText(const Item& item) {
  const std::string& suffix = item.timeSuffix;
  return suffix.empty() || suffix == "AM" || suffix == "PM" ? "" : " " + suffix;
}

/// Items without a title are shown by their address.
std::string titleText(const Item& item) {
  const std::string title = collapsed(toUtf8(item.titleW));
  return title.empty() ? withoutUserInformation(item.link) : title;
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
    output.line((isNew(item) ? "  * " : "    ") + timeText(item) + "  " + cutTo(maxTitleColumns, titleText(item)));
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
  lineIfAny(output, "  worth asking again from ", details.nextDue.Format(kTimePattern));
}

/// "12.3 MB"
std::string sizeText(std::int64_t bytes) {
  constexpr std::array kUnits{"kB", "MB", "GB"};
  if (bytes < 1000) return std::to_string(bytes) + " B";
  double size = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; size >= 999.95 && unit + 1 < kUnits.size(); ++unit) size /= 1000;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", size, kUnits[unit]);
  return text;
}

/// "2:03", "1:02:03"
std::string durationText(std::int64_t seconds) {
  const auto twoDigits = [](std::int64_t n) { return (n < 10 ? ":0" : ":") + std::to_string(n); };
  const std::int64_t minutes = seconds / 60;
  const std::string start =
      minutes < 60 ? std::to_string(minutes) : std::to_string(minutes / 60) + twoDigits(minutes % 60);
  return start + twoDigits(seconds % 60);
}

/// "  with http://example.org/1.mp3 (audio/mpeg, 12.3 MB, 42:10)"
void listEnclosure(Output& output, const Enclosure& enclosure) {
  std::string known = enclosure.type;
  const auto add = [&known](const std::string& text) { known += (known.empty() ? "" : ", ") + text; };
  if (enclosure.length >= 0) add(sizeText(enclosure.length));
  if (enclosure.durationSeconds >= 0) add(durationText(enclosure.durationSeconds));
  const std::string url = withoutUserInformation(enclosure.url);
  lineIfAny(output, "  with ", known.empty() ? url : url + " (" + known + ")");
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
    output.line(timeText(item) + zoneText(item) + "  " + titleText(item));
    lineIfAny(output, "  by ", toUtf8(item.creatorW));
    lineIfAny(output, "  ", withoutUserInformation(item.link));
    if (!details || i >= details->items.size()) continue;
    for (const Enclosure& enclosure : details->items[i].enclosures) listEnclosure(output, enclosure);
  }
}

}  // namespace quillmoria
