#pragma once

#include <string>
#include <vector>

#include "quillmoria/NewsDetails.h"
#include "support/Dump.h"

// Feed objects with details as text, for comparison with a file: a field a line, texts in UTF-8. Only fields that are
// set are shown, a twin only where it is another text, moments in seconds.

inline std::string seconds(CTime time) { return time == CTime() ? "" : std::to_string(time.GetTime()); }

inline std::string lines(const std::string& name, const std::vector<std::string>& texts) {
  std::string shown;
  for (const std::string& text : texts) shown += line(name, text);
  return shown;
}

inline std::string dumpDetails(const quillmoria::Enclosure& enclosure) {
  return line("enclosure", enclosure.url) + field("type", enclosure.type) +
         field("length", static_cast<std::int32_t>(enclosure.length)) + field("title", enclosure.title) +
         field("seconds", static_cast<std::int32_t>(enclosure.durationSeconds));
}

inline std::string dumpItem(const RSSObject::NewsItemStruct& item, const ItemDetails& details) {
  std::string shown = "item" + twins("title", item.title, item.titleW) + line("link", item.link) +
                      twins("description", item.description, item.descriptionW) + line("creator", item.creatorW) +
                      line("guid", item.guidW) + line("isPermaLink", item.isPermaLink) +
                      line("date", seconds(item.date)) + line("timeSuffix", item.timeSuffix) +
                      line("published", seconds(details.published)) + line("updated", seconds(details.updated));
  if (details.summaryW != item.descriptionW) shown += line("summary", details.summaryW);
  if (details.contentW != item.descriptionW) shown += line("content", details.contentW);
  shown += lines("author", details.authors) + lines("category", details.categories);
  for (const auto& enclosure : details.enclosures) shown += dumpDetails(enclosure);
  return shown + line("comments", details.commentsUrl) + line("image", details.imageUrl) +
         line("source.title", details.sourceTitle) + line("source.url", details.sourceUrl) +
         line("language", details.language) + "\n";
}

inline std::string dumpNews(const RSSObject& news) {
  const FeedDetails& details = *news.GetDetails();
  const RSSObject::ChannelStruct& channel = news.channel;
  const RSSObject::ImageStruct& image = channel.image;
  std::string shown =
      "feed" + line("outcome", std::string(quillmoria::OutcomeName(details.outcome))) +
      line("status", news.statusMessage) + line("format", details.format) + line("wasRepaired", details.wasRepaired) +
      line("itemCount", news.itemCount) + twins("title", channel.title, channel.titleW) + line("link", channel.link) +
      twins("description", channel.description, channel.descriptionW) + line("language", channel.language) +
      line("date", seconds(channel.date)) + line("updateBase", seconds(channel.updateBase)) +
      line("updatePeriod", channel.updatePeriod) + line("updateFrequency", channel.updateFrequency) +
      line("image.title", image.title) + line("image.url", image.url) + line("image.link", image.link) +
      line("image.description", image.description) + line("image.width", image.width) +
      line("image.height", image.height) + line("finalUrl", details.finalUrl) + line("siteUrl", details.siteUrl) +
      line("iconUrl", details.iconUrl) + lines("author", details.authors) + lines("category", details.categories) +
      line("rights", details.rights) + line("generator", details.generator) + line("hub", details.hubUrl) + "\n";
  for (std::int32_t i = 0; i < news.itemCount; ++i) {
    shown += dumpItem(news.items[i], details.items.at(static_cast<std::size_t>(i)));
  }
  return shown;
}
