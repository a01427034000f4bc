#include "modern/ModernSource.h"

#include <exception>
#include <optional>
#include <utility>

#include "modern/FeedObject.h"
#include "modern/web/WebAddress.h"
#include "modern/web/WebState.h"
#include "quillmoria/StatusTexts.h"
#include "records/FeedObjectAccess.h"
#include "store/ItemMatching.h"

namespace quillmoria {

ModernSource::ModernSource(std::string baseFolder)
    : archive_(baseFolder), place_{std::move(baseFolder), webState->beginPull(), &archive_} {}

std::unique_ptr<RSSObject> ModernSource::fetch(const RSSObject::NewsFeed& feed) {
  return fetchObject(place_, feed, "");
}

std::unique_ptr<RSSObject> ModernSource::fromStore(const RSSObject::NewsFeed& feed) {
  std::unique_ptr<RSSObject> news = storedObject(place_, feed);
  tellOfDamage(*news);
  return news;
}

/// What the pull itself has found out does not count: an address may be subscribed under several names. Nor do rate
/// limits: a feed that was fetched ahead would be left out once it has brought one about.
bool ModernSource::isDue(const RSSObject::NewsFeed& feed) const {
  const std::optional<WebAddress> address = WebAddress::parse(feed.url);
  const FeedFacts known = address ? archive_.facts(address->key()) : FeedFacts();
  return known.pull == place_.pull || (!known.isGone && CTime::GetCurrentTime().GetTime() >= known.nextDue);
}

void ModernSource::settle(RSSObject& news) noexcept {
  const ModernDetails& details = detailsOf(news);
  if (details.outcome == Outcome::Offline || details.key.empty()) return;
  try {
    const bool isFeed = details.outcome == Outcome::Fetched || details.outcome == Outcome::NotModified;
    const bool isKept = archive_.settle(details.key, details.report, news);
    FeedObjectAccess::setStored(news, isKept && isFeed);
    tellOfDamage(news);
  } catch (const std::exception&) {
    // What could not be compared for want of memory is not called new, and asked for again.
    unmatchItems(news);
  }
}

/// Every feed of the pull tells: whichever of them a host shows.
void ModernSource::tellOfDamage(RSSObject& news) const {
  if (news.statusMessage != kStatusOk && news.statusMessage != kStatusNotCached) return;
  const std::string file = archive_.damagedFile();
  if (file.empty()) return;
  news.statusMessage = "The archive was damaged, and the history begun anew; the old one is kept in " + file;
}

}  // namespace quillmoria
