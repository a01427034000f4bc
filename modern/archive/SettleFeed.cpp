#include "modern/archive/SettleFeed.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "modern/archive/ClassicCache.h"
#include "quillmoria/NewsDetails.h"
#include "records/FeedObjectAccess.h"

namespace quillmoria {
namespace {

CTime momentOf(std::int64_t seconds) {
  return CTime(static_cast<std::int32_t>(std::clamp<std::int64_t>(seconds, 0, INT32_MAX)));
}

}  // namespace

FeedSettling::FeedSettling(const std::string& baseFolder, const std::string& key, const FetchReport& report,
                           RSSObject& news)
    : baseFolder_(baseFolder), key_(key), report_(report), news_(news), now_(CTime::GetCurrentTime()) {
  if (report.outcome == Outcome::Fetched) items_.emplace(news, Unmet::AreNew);
}

void FeedSettling::settle(Database& archive) {
  KnownFeed known = readKnownFeed(archive, key_);
  if (known.id == 0) known.id = makeFeed(archive, key_);
  // An object that was read from an archive that is lost by now is all that is left of it.
  const bool isLost = report_.outcome == Outcome::NotModified && !known.facts.hasDocument;
  if (isLost) items_.emplace(news_, Unmet::AreNone);
  FeedFacts facts = known.facts.after(report_);
  if (items_) keepDocument(archive, known);
  // Another process may have kept another document than the one that was found unchanged.
  if (items_ || (report_.outcome == Outcome::NotModified && known.facts.pull == report_.basis)) {
    facts.hasDocument = true;
    facts.validators = report_.validators;
    facts.bodyHash = report_.bodyHash;
  }
  keepFacts(archive, known.id, key_, facts, news_);
  if (!facts.movedTo.empty() && facts.movedTo != known.facts.movedTo) addAddress(archive, known.id, facts.movedTo);
}

void FeedSettling::match(Database& archive) {
  if (items_) items_->match(archive, readKnownFeed(archive, key_).id, now_);
}

void FeedSettling::matchNothing() {
  if (items_) items_->matchNothing(now_);
}

void FeedSettling::keepDocument(Database& archive, const KnownFeed& known) {
  if (report_.outcome == Outcome::Fetched && !known.facts.hasDocument) takeOver(archive, known);
  items_->match(archive, known.id, now_);
  items_->store(archive, known.id, now_, momentOf(known.facts.lastSuccess));
  keepChannel(archive, known.id, news_);
}

/// What the classic profile has delivered is no news.
void FeedSettling::takeOver(Database& archive, const KnownFeed& known) {
  const std::string& url = FeedObjectAccess::details(news_)->finalUrl;
  const std::unique_ptr<RSSObject> cached = readClassicCache(baseFolder_, news_.channel.feedName, url, kSeenItem);
  if (!cached || !isOf(*cached)) return;
  DocumentItems items(*cached, Unmet::AreOutdated);
  items.match(archive, known.id, now_);
  items.store(archive, known.id, now_, now_);
}

/// Whether the classic profile's file of that name is the feed's: it may have been another's.
bool FeedSettling::isOf(RSSObject& cached) const {
  if (cached.channel.link == news_.channel.link) return true;
  std::vector<ItemKeys> keys = keysOf(news_);
  std::ranges::sort(keys, {}, &ItemKeys::key);
  return std::ranges::any_of(keysOf(cached), [&](const ItemKeys& item) {
    return std::ranges::binary_search(keys, item.key, {}, &ItemKeys::key);
  });
}

}  // namespace quillmoria
