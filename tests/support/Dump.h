#pragma once

#include <sstream>
#include <string>
#include <utility>

#include "platform/CodePage.h"
#include "quillmoria/RSSObject.h"

/// A feed object as text, for comparison with a file: what differs from a new record, a field a line.
///
///     EXPECT_EQ(Dump(started).text(feed), expected);
///
/// Moments from `started` on are shown as "now".
class Dump {
 public:
  explicit Dump(CTime started) : started_(started) {}

  std::string text(const RSSObject& feed) {
    field("itemCount", feed.itemCount, 0);
    field("picture", feed.channelPicture ? 1 : 0, 0);
    channel(feed.channel);
    for (const auto& parsed : feed.parsedItems) item("parsed", parsed);
    for (std::int32_t i = 0; i < feed.itemCount; ++i) item("item", feed.items[i]);
    return std::exchange(out_, {}).str();
  }

 private:
  void channel(const RSSObject::ChannelStruct& channel) {
    out_ << "channel\n";
    both("title", channel.title, channel.titleW);
    field("link", channel.link);
    both("description", channel.description, channel.descriptionW);
    field("language", channel.language);
    field("updateBase", channel.updateBase);
    field("updatePeriod", channel.updatePeriod);
    field("updateFrequency", channel.updateFrequency, -1);
    field("date", channel.date);
    field("image.title", channel.image.title);
    field("image.url", channel.image.url);
    field("image.link", channel.image.link);
    field("image.description", channel.image.description);
    field("image.width", channel.image.width, 1);
    field("image.height", channel.image.height, -1);
  }

  void item(const char* heading, const RSSObject::NewsItemStruct& item) {
    out_ << heading << '\n';
    both("title", item.title, item.titleW);
    field("link", item.link);
    both("description", item.description, item.descriptionW);
    field("creatorW", quillmoria::wideToUtf8(item.creatorW));
    field("guidW", quillmoria::wideToUtf8(item.guidW));
    field("isPermaLink", item.isPermaLink, 0);
    field("date", item.date);
    if (item.date < started_ || item.timeSuffix != item.date.Format("%p")) field("timeSuffix", item.timeSuffix);
    field("status", item.status, 0);
  }

  /// The wide text on a line of its own only if it is not the narrow one's twin.
  void both(const std::string& name, const std::string& narrow, const std::u16string& wide) {
    field(name, narrow);
    if (const std::string twin = quillmoria::wideToUtf8(wide); twin != narrow) field(name + "W", twin);
  }
  void field(const std::string& name, const std::string& value) {
    if (!value.empty()) out_ << "  " << name << " \"" << value << "\"\n";
  }
  void field(const std::string& name, std::int32_t value, std::int32_t usual) {
    if (value != usual) out_ << "  " << name << ' ' << value << '\n';
  }
  void field(const std::string& name, CTime value) {
    if (value != CTime()) out_ << "  " << name << ' ' << (value < started_ ? value.Format("%F %T") : "now") << '\n';
  }

  CTime started_;
  std::ostringstream out_;
};
