#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "quillmoria/ParseFeed.h"
#include "support/Dump.h"

namespace {

using Json = nlohmann::ordered_json;

Json seconds(CTime time) { return time == CTime() ? Json(nullptr) : Json(time.GetTime()); }

Json enclosureJson(const quillmoria::Enclosure& enclosure) {
  return {{"url", enclosure.url},
          {"type", enclosure.type},
          {"length", enclosure.length},
          {"title", enclosure.title},
          {"durationSeconds", enclosure.durationSeconds}};
}

Json itemJson(const RSSObject::NewsItemStruct& item, const ItemDetails& details) {
  Json enclosures = Json::array();
  for (const auto& enclosure : details.enclosures) enclosures.push_back(enclosureJson(enclosure));
  return {{"title", item.title},
          {"link", item.link},
          {"description", item.description},
          {"guid", readable(item.guidW)},
          {"isPermaLink", item.isPermaLink},
          {"date", seconds(item.date)},
          {"published", seconds(details.published)},
          {"updated", seconds(details.updated)},
          {"summary", readable(details.summaryW)},
          {"content", readable(details.contentW)},
          {"authors", details.authors},
          {"categories", details.categories},
          {"enclosures", enclosures},
          {"comments", details.commentsUrl},
          {"image", details.imageUrl},
          {"sourceTitle", details.sourceTitle},
          {"sourceUrl", details.sourceUrl},
          {"language", details.language}};
}

Json feedJson(const RSSObject& feed) {
  const FeedDetails& details = *feed.GetDetails();
  Json items = Json::array();
  for (std::int32_t i = 0; i < feed.itemCount; ++i) {
    items.push_back(itemJson(feed.items[i], details.items[static_cast<std::size_t>(i)]));
  }
  return {{"status", feed.statusMessage},
          {"outcome", quillmoria::OutcomeName(details.outcome)},
          {"format", details.format},
          {"wasRepaired", details.wasRepaired},
          {"title", feed.channel.title},
          {"description", feed.channel.description},
          {"link", feed.channel.link},
          {"language", feed.channel.language},
          {"date", seconds(feed.channel.date)},
          {"icon", details.iconUrl},
          {"rights", details.rights},
          {"generator", details.generator},
          {"hub", details.hubUrl},
          {"authors", details.authors},
          {"categories", details.categories},
          {"itemCount", feed.itemCount},
          {"items", items}};
}

}  // namespace

/// print-feed URL FILE...: what the feed documents FILE say, each a line of JSON, as if they came from URL.
int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: print-feed URL FILE...\n";
    return 2;
  }
  for (int i = 2; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    const std::string document{std::istreambuf_iterator<char>(file), {}};
    std::cout << feedJson(*ParseFeed(document, "", argv[1])).dump(-1, ' ', false, Json::error_handler_t::replace)
              << "\n";
  }
}
