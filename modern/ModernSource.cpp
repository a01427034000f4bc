#include "modern/ModernSource.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "modern/FeedObject.h"
#include "modern/SettleItems.h"
#include "modern/web/WebState.h"
#include "platform/Url.h"
#include "records/FeedObjectAccess.h"
#include "store/ItemMatching.h"
#include "store/NewsItemCache.h"

namespace quillmoria {
namespace {

std::u16string_view withoutSpace(std::u16string_view text) {
  constexpr std::u16string_view kSpace = u" \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  while (!text.empty() && kSpace.find(text.back()) != std::u16string_view::npos) text.remove_suffix(1);
  return text;
}

/// What the addresses of items are relative to: the feed's own address, or its site's where that is another.
std::string baseOf(RSSObject& news) {
  const std::string& own = detailsOf(news).finalUrl;
  const std::optional<WebUrl> site = WebUrl::parse(news.channel.link);
  const std::optional<WebUrl> served = WebUrl::parse(own);
  return site && (!served || site->host != served->host) ? news.channel.link : own;
}

/// The classic profile has written addresses and identifiers as the document had them. Were they left so, what has been
/// seen there would be new here.
void completeKeys(RSSObject& cached, const std::string& base) {
  for (RSSObject::NewsItemStruct& item :
       std::span(cached.items, static_cast<std::size_t>(std::max(cached.itemCount, 0)))) {
    if (std::string link = absoluteUrl(item.link, base); !link.empty()) item.link = std::move(link);
    item.guidW = withoutSpace(item.guidW);
  }
}

/// Compares the items with those of the cache file, and replaces it. True once it is in place.
bool storeItems(RSSObject& news, const std::string& baseFolder) {
  constexpr std::int32_t kVersion = 4;
  const std::string path = NewsItemCache::filePath(baseFolder, news.channel.feedName);
  const std::unique_ptr<RSSObject> cached = NewsItemCache::ReadFeed(path);
  completeKeys(*cached, baseOf(news));
  settleItems(news, *cached, CTime::GetCurrentTime());
  return NewsItemCache().StoreFeed(baseFolder, &news, kVersion, news.channel.sourceNote) == 1;
}

}  // namespace

ModernSource::ModernSource(std::string baseFolder)
    : place_{std::move(baseFolder), webState->beginPull(), FetchMode::InPull} {}

std::unique_ptr<RSSObject> ModernSource::fetch(const RSSObject::NewsFeed& feed) {
  return fetchObject(place_, feed, "");
}

std::unique_ptr<RSSObject> ModernSource::fromStore(const RSSObject::NewsFeed& feed) {
  return storedObject(place_.baseFolder, feed);
}

/// What the pull itself has found out does not count: an address may be subscribed under several names. Nor do rate
/// limits: a feed that was fetched ahead would be left out once it has brought one about.
bool ModernSource::isDue(const RSSObject::NewsFeed& feed) const {
  const std::optional<FeedFacts> known = webState->feed(memoryKey(place_.baseFolder, feed.url));
  return !known || known->pull == place_.pull ||
         (!known->isGone && CTime::GetCurrentTime().GetTime() >= known->nextDue);
}

void ModernSource::settle(RSSObject& news) noexcept {
  try {
    ModernDetails& details = detailsOf(news);
    if (details.outcome == Outcome::Offline || details.key.empty()) return;
    bool isStored = details.outcome == Outcome::NotModified;
    try {
      if (details.outcome == Outcome::Fetched) isStored = storeItems(news, place_.baseFolder);
    } catch (const std::exception&) {
      // Not knowing which items are new, keep the file for the next pull, which is to find them.
      unmatchItems(news);
    }
    FeedObjectAccess::setStored(news, isStored);
    FeedFacts facts = webState->feed(details.key).value_or(FeedFacts()).after(details.report);
    if (isStored) {
      facts.feedName = news.channel.feedName;
      facts.stored = cacheStamp(place_.baseFolder, facts.feedName).value_or(FileStamp());
      facts.validators = details.report.validators;
      facts.bodyHash = details.report.bodyHash;
    }
    webState->keepFeed(details.key, std::move(facts));
  } catch (const std::exception&) {
    // What is not remembered is asked for anew.
  }
}

}  // namespace quillmoria
