#include "NewsListing.h"

#include <span>

#include "Pull.h"
#include "Text.h"

namespace quillmoria {
namespace {

constexpr std::string_view kNoTime = "                ";

std::span<const RSSObject::NewsItemStruct> itemsOf(const RSSObject& news) {
  return {news.getNewsItems(), static_cast<std::size_t>(news.itemCount)};
}

std::string timeText(const RSSObject::NewsItemStruct& item) {
  const std::string text = item.date.Format("%Y-%m-%d %H:%M");
  return text.empty() ? std::string(kNoTime) : text;
}

/// The time is shown by a 24-hour clock, which needs no AM or PM.
std::string zoneText(const RSSObject::NewsItemStruct& item) {
  const std::string& suffix = item.timeSuffix;
  return suffix.empty() || suffix == "AM" || suffix == "PM" ? "" : " " + suffix;
}

/// Items without a title are shown by their address.
std::string titleText(const RSSObject::NewsItemStruct& item) {
  const std::string title = collapsed(toUtf8(item.titleW));
  return title.empty() ? item.link : title;
}

void lineIfAny(Output& output, std::string_view before, std::string_view text) {
  const std::string words = collapsed(text);
  if (!words.empty()) output.line(std::string(before) + words);
}

}  // namespace

std::string outcome(const RSSObject& news) {
  if (news.itemCount < 0) return failureText(news);
  return std::to_string(news.itemCount) + (news.itemCount == 1 ? " item, " : " items, ") +
         std::to_string(news.newItemCount) + " new";
}

std::vector<std::string> newsLines(std::string_view name, const RSSObject& news) {
  std::vector<std::string> lines{"  " + std::string(name) + ": " + outcome(news)};
  if (news.itemCount < 0) return lines;
  for (const RSSObject::NewsItemStruct& item : itemsOf(news)) {
    lines.push_back((item.status == kNewItem ? "  * " : "    ") + timeText(item) + "  " + titleText(item));
  }
  return lines;
}

void listFeed(Output& output, const RSSObject& news) {
  const RSSObject::ChannelStruct& channel = news.channel;
  lineIfAny(output, "", channel.titleW.empty() ? channel.feedName : toUtf8(channel.titleW));
  lineIfAny(output, "  ", channel.link);
  lineIfAny(output, "  ", toUtf8(channel.descriptionW));
  if (const CPicture* picture = news.GetChannelPicture(); picture && picture->picture) {
    output.line("  picture: " + std::to_string(picture->picture->width()) + " x " +
                std::to_string(picture->picture->height()));
  }
  for (const RSSObject::NewsItemStruct& item : itemsOf(news)) {
    output.line("");
    output.line(timeText(item) + zoneText(item) + "  " + titleText(item));
    lineIfAny(output, "  by ", toUtf8(item.creatorW));
    lineIfAny(output, "  ", item.link);
  }
}

}  // namespace quillmoria
