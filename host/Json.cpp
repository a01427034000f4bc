#include "Json.h"

#include <nlohmann/json.hpp>

#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

using Json = nlohmann::ordered_json;

Json timeAsJson(const CTime& time) { return time == CTime() ? Json() : Json(time.GetTime()); }

Json imageAsJson(const RSSObject::ImageStruct& image) {
  return {{"title", image.title},
          {"url", withoutUserInformation(image.url)},
          {"link", withoutUserInformation(image.link)},
          {"description", image.description},
          {"width", image.width},
          {"height", image.height}};
}

Json channelAsJson(const RSSObject::ChannelStruct& channel) {
  return {{"title", toUtf8(channel.titleW)},
          {"link", withoutUserInformation(channel.link)},
          {"description", toUtf8(channel.descriptionW)},
          {"language", channel.language},
          {"date", timeAsJson(channel.date)},
          {"updateBase", timeAsJson(channel.updateBase)},
          {"updatePeriod", channel.updatePeriod},
          {"updateFrequency", channel.updateFrequency},
          {"image", imageAsJson(channel.image)}};
}

Json pictureAsJson(const CPicture* picture) {
  if (!picture || !picture->picture) return nullptr;
  return {{"width", picture->picture->width()}, {"height", picture->picture->height()}};
}

Json itemAsJson(const RSSObject::NewsItemStruct& item) {
  return {{"title", toUtf8(item.titleW)},
          {"link", withoutUserInformation(item.link)},
          {"description", toUtf8(item.descriptionW)},
          {"creator", toUtf8(item.creatorW)},
          {"guid", withoutUserInformation(toUtf8(item.guidW))},
          {"isPermaLink", item.isPermaLink},
          {"date", timeAsJson(item.date)},
          {"timeSuffix", item.timeSuffix},
          {"status", item.status}};
}

std::string asLine(const Json& json) { return json.dump(-1, ' ', true, Json::error_handler_t::replace); }

}  // namespace

std::string feedAsJson(const RSSObject::NewsFeed& feed, const RSSObject& news) {
  Json items = Json::array();
  for (std::int32_t i = 0; i < news.itemCount; ++i) items.push_back(itemAsJson(news.getNewsItems()[i]));
  return asLine({{"category", feed.category},
                 {"feed", feed.name},
                 {"url", withoutUserInformation(feed.url)},
                 {"status", withoutUserInformation(news.statusMessage)},
                 {"stored", news.WasStored()},
                 {"itemCount", news.itemCount},
                 {"newItemCount", news.newItemCount},
                 {"channel", channelAsJson(news.channel)},
                 {"picture", pictureAsJson(news.GetChannelPicture())},
                 {"items", std::move(items)}});
}

std::string outlineAsJson(const OPMLDoc::OutlineStruct& outline, std::size_t level) {
  return asLine({{"level", level},
                 {"text", withoutUserInformation(toUtf8(outline.text))},
                 {"type", outline.type},
                 {"xmlUrl", withoutUserInformation(outline.xmlUrl)},
                 {"url", withoutUserInformation(outline.url)},
                 {"description", toUtf8(outline.description)},
                 {"dateCreated", timeAsJson(outline.dateCreated)}});
}

}  // namespace quillmoria
