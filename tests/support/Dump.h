#pragma once

#include <filesystem>
#include <string>

#include "quillmoria/OPML.h"
#include "quillmoria/RSSObject.h"

// Feed objects and subscription lists as text, for comparison with a file. Only fields that are set are shown.

inline std::string readable(const std::string& text) { return text; }
inline std::string readable(const std::u16string& text) { return std::filesystem::path(text).string(); }  ///< UTF-8
inline std::string readable(CTime time) { return time.Format("%F %T"); }
inline std::string readable(std::int32_t number) { return number == -1 ? "" : std::to_string(number); }

inline std::string readable(bool isSet) { return isSet ? "yes" : ""; }

/// The field's name and value after `before`, or nothing for a reset value.
inline std::string field(const std::string& name, const auto& value, const char* before = " ") {
  const std::string shown = readable(value);
  return shown.empty() ? "" : before + name + "=" + shown;
}

inline std::string line(const std::string& name, const auto& value) { return field(name, value, "\n  "); }

/// A text and, only if it is another one, its UTF-16 twin.
inline std::string twins(const std::string& name, const std::string& narrow, const std::u16string& wide) {
  return line(name, narrow) + (readable(wide) == narrow ? "" : line(name + "W", wide));
}

/// Moments from `started` on are "now".
inline std::string moment(CTime time, CTime started) { return time < started ? readable(time) : "now"; }

inline std::string dump(const char* heading, const RSSObject::NewsItemStruct& item, CTime started) {
  const bool isUsual = item.date >= started && item.timeSuffix == item.date.Format("%p");
  return heading + twins("title", item.title, item.titleW) + line("link", item.link) +
         twins("description", item.description, item.descriptionW) + line("creatorW", item.creatorW) +
         line("guidW", item.guidW) + line("isPermaLink", item.isPermaLink) + line("date", moment(item.date, started)) +
         line("timeSuffix", isUsual ? "" : item.timeSuffix) + "\n";
}

inline std::string dump(const RSSObject::ChannelStruct& channel, CTime started) {
  const RSSObject::ImageStruct& image = channel.image;
  return "channel" + twins("title", channel.title, channel.titleW) + line("link", channel.link) +
         twins("description", channel.description, channel.descriptionW) + line("language", channel.language) +
         line("updateBase", channel.updateBase) + line("updatePeriod", channel.updatePeriod) +
         line("updateFrequency", channel.updateFrequency) + line("date", moment(channel.date, started)) +
         line("image.title", image.title) + line("image.url", image.url) + line("image.link", image.link) +
         line("image.description", image.description) + line("image.width", image.width) +
         line("image.height", image.height) + "\n";
}

/// A feed that was read after `started`: a field a line, texts in UTF-8.
inline std::string dump(const RSSObject& feed, CTime started) {
  std::string shown = "feed" + line("itemCount", feed.itemCount) + line("picture", feed.channelPicture != nullptr) +
                      "\n" + dump(feed.channel, started);
  for (const auto& parsed : feed.parsedItems) shown += dump("parsed", parsed, started);
  for (std::int32_t i = 0; i < feed.itemCount; ++i) shown += dump("item", feed.items[i], started);
  return shown;
}

/// Outlines as "text[fields](children)"; one whose parent or level are not those of its place has a "*".
inline std::string dump(const std::vector<OPMLDoc::OutlineStruct*>& outlines,
                        const OPMLDoc::OutlineStruct* parent = nullptr) {
  std::string shown;
  for (const OPMLDoc::OutlineStruct* outline : outlines) {
    shown += (shown.empty() ? "" : " ") + readable(outline->text);
    if (outline->parent != parent || outline->level != (parent ? parent->level + 1 : 0)) shown += "*";
    const std::string fields = field("type", outline->type) + field("xmlUrl", outline->xmlUrl) +
                               field("url", outline->url) + field("created", outline->dateCreated) +
                               field("description", outline->description);
    if (!fields.empty()) shown += "[" + fields.substr(1) + "]";
    if (!outline->children.empty()) shown += "(" + dump(outline->children, outline) + ")";
  }
  return shown;
}

/// The set fields of the document's head, then its tree.
inline std::string dump(const OPMLDoc& document) {
  const OPMLDoc::HeadStruct& head = document.head;
  return field("version", document.version) + field("title", head.title) + field("created", head.dateCreated) +
         field("modified", head.dateModified) + field("owner", head.ownerName) + field("email", head.ownerEmail) +
         field("expansion", head.expansionState) + field("scroll", head.vertScrollState) +
         field("top", head.windowTop) + field("left", head.windowLeft) + field("bottom", head.windowBottom) +
         field("right", head.windowRight) + " | " + dump(document.outlines);
}
