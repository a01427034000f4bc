#include "modern/ModernSource.h"

#include <exception>
#include <optional>
#include <utility>

#include "modern/FeedObject.h"
#include "modern/SettleItems.h"
#include "modern/web/WebState.h"
#include "records/FeedObjectAccess.h"
#include "store/ItemMatching.h"
#include "store/NewsItemCache.h"

namespace quillmoria {
namespace {

/// Compares the items with those of the cache file, and replaces it. True once it is in place.
bool storeItems(RSSObject& news, const std::string& baseFolder) {
  constexpr std::int32_t kVersion = 4;
  const std::string path = NewsItemCache::filePath(baseFolder, news.channel.feedName);
  settleItems(news, *NewsItemCache::ReadFeed(path), CTime::GetCurrentTime());
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
