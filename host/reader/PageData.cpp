#include "reader/PageData.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "SubscriptionFile.h"
#include "Subscriptions.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxWordsBytes = 300;
constexpr std::size_t kMaxCategoryBytes = 1700;  // eight labels, the longest that subscriptions have
constexpr std::size_t kMaxAddressBytes = 4000;

View shown(View view) {
  view.words = firstBytes(view.words, kMaxWordsBytes);
  view.category = firstBytes(view.category, kMaxCategoryBytes);
  view.address = firstBytes(view.address, kMaxAddressBytes);
  view.notice = 0;
  return view;
}

/// The places in `archived` by the addressKey of where feeds are and where they have moved to.
std::map<std::string, std::size_t> placesOf(const std::vector<ArchivedFeed>& archived) {
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < archived.size(); ++i) places.try_emplace(addressKey(archived[i].url), i);
  for (std::size_t i = 0; i < archived.size(); ++i) {
    if (!archived[i].movedTo.empty()) places.try_emplace(addressKey(archived[i].movedTo), i);
  }
  return places;
}

}  // namespace

PageData::PageData(const View& asked, const PageContext& with)
    : context(with), view(shown(asked)), notice(asked.notice), now(CTime::GetCurrentTime()) {}

const std::vector<OwnFeed>& PageData::subscriptions() {
  if (!subscriptions_) {
    Subscriptions names;
    subscriptions_ = ownFeeds(readSubscriptions(context.baseFolder), names);
  }
  return *subscriptions_;
}

const std::vector<ShownFeed>& PageData::feeds() {
  if (feeds_) return *feeds_;
  const std::vector<ArchivedFeed> archived = context.archives.use([](NewsArchive& archive) { return archive.Feeds(); });
  const std::map<std::string, std::size_t> places = placesOf(archived);
  std::vector<ShownFeed> feeds;
  std::set<std::size_t> subscribed;
  for (const OwnFeed& own : subscriptions()) {
    ShownFeed& feed = feeds.emplace_back(own, std::nullopt);
    if (const auto place = places.find(addressKey(own.url)); place != places.end()) {
      feed.archived = archived[place->second];
      subscribed.insert(place->second);
    }
  }
  for (std::size_t i = 0; i < archived.size(); ++i) {
    if (!subscribed.contains(i)) feeds.emplace_back(OwnFeed{"", archived[i].name, archived[i].name, ""}, archived[i]);
  }
  feeds_ = std::move(feeds);
  return *feeds_;
}

const ShownFeed* PageData::feed(std::int64_t id) {
  const auto isIt = [id](const ShownFeed& feed) { return feed.archived && feed.archived->id == id; };
  const auto found = std::ranges::find_if(feeds(), isIt);
  return found == feeds().end() ? nullptr : &*found;
}

const std::optional<ArchivedItem>& PageData::item() {
  if (!item_) {
    item_ = view.item == 0 ? std::nullopt
                           : context.archives.use([this](NewsArchive& archive) { return archive.Item(view.item); });
  }
  return *item_;
}

}  // namespace quillmoria
