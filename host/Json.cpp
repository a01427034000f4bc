#include "Json.h"

#include <nlohmann/json.hpp>

#include "Text.h"
#include "WebAddress.h"
#include "quillmoria/NewsDetails.h"

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

Json textAsJson(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json addressAsJson(const std::string& address) { return textAsJson(withoutUserInformation(address)); }

/// A number that is `unknown` where the feed says nothing.
Json numberAsJson(std::int64_t number, std::int64_t unknown) { return number == unknown ? Json() : Json(number); }

Json enclosuresAsJson(const std::vector<Enclosure>& enclosures) {
  Json list = Json::array();
  for (const Enclosure& enclosure : enclosures) {
    list.push_back({{"url", addressAsJson(enclosure.url)},
                    {"type", textAsJson(enclosure.type)},
                    {"length", numberAsJson(enclosure.length, -1)},
                    {"title", textAsJson(enclosure.title)},
                    {"durationSeconds", numberAsJson(enclosure.durationSeconds, -1)}});
  }
  return list;
}

Json detailsAsJson(const ItemDetails& details) {
  return {{"id", numberAsJson(details.id, 0)},
          {"published", timeAsJson(details.published)},
          {"updated", timeAsJson(details.updated)},
          {"firstSeen", timeAsJson(details.firstSeen)},
          {"changed", details.changed},
          {"summary", textAsJson(toUtf8(details.summaryW))},
          {"content", textAsJson(toUtf8(details.contentW))},
          {"authors", Json(details.authors)},
          {"categories", Json(details.categories)},
          {"enclosures", enclosuresAsJson(details.enclosures)},
          {"commentsUrl", addressAsJson(details.commentsUrl)},
          {"imageUrl", addressAsJson(details.imageUrl)},
          {"sourceTitle", textAsJson(details.sourceTitle)},
          {"sourceUrl", addressAsJson(details.sourceUrl)},
          {"language", textAsJson(details.language)}};
}

/// Without those of the items, each of which has its own.
Json detailsAsJson(const FeedDetails& details) {
  return {{"outcome", OutcomeName(details.outcome)},     {"httpStatus", numberAsJson(details.httpStatus, 0)},
          {"finalUrl", addressAsJson(details.finalUrl)}, {"movedTo", addressAsJson(details.movedTo)},
          {"format", textAsJson(details.format)},        {"wasRepaired", details.wasRepaired},
          {"nextDue", timeAsJson(details.nextDue)},      {"notBefore", timeAsJson(details.notBefore)},
          {"siteUrl", addressAsJson(details.siteUrl)},   {"iconUrl", addressAsJson(details.iconUrl)},
          {"categories", Json(details.categories)},      {"authors", Json(details.authors)},
          {"rights", textAsJson(details.rights)},        {"generator", textAsJson(details.generator)},
          {"hubUrl", addressAsJson(details.hubUrl)}};
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

Json itemsAsJson(const RSSObject& news, const FeedDetails* details) {
  Json items = Json::array();
  for (std::int32_t i = 0; i < news.itemCount; ++i) {
    Json& item = items.emplace_back(itemAsJson(news.getNewsItems()[i]));
    const auto index = static_cast<std::size_t>(i);
    if (details && index < details->items.size()) item["details"] = detailsAsJson(details->items[index]);
  }
  return items;
}

std::string asLine(const Json& json) { return json.dump(-1, ' ', true, Json::error_handler_t::replace); }

}  // namespace

std::string feedAsJson(const RSSObject::NewsFeed& feed, const RSSObject& news) {
  Json line = {{"category", feed.category},
               {"feed", feed.name},
               {"url", withoutUserInformation(feed.url)},
               {"status", withoutUserInformation(news.statusMessage)},
               {"stored", news.WasStored()},
               {"itemCount", news.itemCount},
               {"newItemCount", news.newItemCount},
               {"channel", channelAsJson(news.channel)},
               {"picture", pictureAsJson(news.GetChannelPicture())}};
  const FeedDetails* const details = news.GetDetails();
  if (details) line["details"] = detailsAsJson(*details);
  line["items"] = itemsAsJson(news, details);
  return asLine(line);
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

std::string foundFeedAsJson(const FoundFeed& feed) {
  return asLine({{"title", textAsJson(feed.title)}, {"url", addressAsJson(feed.url)}, {"type", textAsJson(feed.type)}});
}

std::string archivedItemAsJson(const ArchivedItem& archived) {
  Json line = {{"id", archived.details.id}, {"category", archived.category},
               {"feed", archived.feedName}, {"feedUrl", withoutUserInformation(archived.feedUrl)},
               {"read", archived.isRead},   {"starred", archived.isStarred}};
  line.update(itemAsJson(archived.item));
  line["details"] = detailsAsJson(archived.details);
  return asLine(line);
}

std::string archiveReportAsJson(const ArchiveReport& report) {
  const ArchiveStatistics& statistics = report.statistics;
  Json line = {{"feeds", statistics.feeds},
               {"items", statistics.items},
               {"unread", statistics.unread},
               {"starred", statistics.starred},
               {"bytes", statistics.bytes},
               {"oldest", timeAsJson(statistics.oldest)},
               {"newest", timeAsJson(statistics.newest)},
               {"version", statistics.version},
               {"keepItems", report.retention.itemsPerFeed},
               {"keepDays", report.retention.days}};
  line["problems"] = report.problems ? Json(*report.problems) : Json();
  line["repair"] = nullptr;
  if (const std::optional<ArchiveRepair>& repair = report.repair) {
    line["repair"] = {
        {"feeds", repair->feeds}, {"items", repair->items}, {"damagedFile", textAsJson(repair->damagedFile)}};
  }
  return asLine(line);
}

std::string subscriptionAsJson(const OwnFeed& feed, const ArchivedFeed* known) {
  const bool isAsked = known && known->lastOutcome != Outcome::Offline;
  const ArchivedFeed unknown;
  const ArchivedFeed& archived = known ? *known : unknown;
  const auto count = [known](std::int64_t number) { return known ? Json(number) : Json(); };
  return asLine({{"category", feed.category},
                 {"feed", feed.name},
                 {"url", withoutUserInformation(feed.url)},
                 {"title", textAsJson(archived.title)},
                 {"siteUrl", addressAsJson(archived.siteUrl)},
                 {"itemCount", count(archived.itemCount)},
                 {"unreadCount", count(archived.unreadCount)},
                 {"starredCount", count(archived.starredCount)},
                 {"failures", count(archived.failures)},
                 {"lastOutcome", isAsked ? Json(OutcomeName(archived.lastOutcome)) : Json()},
                 {"lastStatus", textAsJson(withoutUserInformation(archived.lastStatus))},
                 {"lastSuccess", timeAsJson(archived.lastSuccess)},
                 {"nextDue", timeAsJson(archived.nextDue)}});
}

}  // namespace quillmoria
