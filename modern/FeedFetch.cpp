#include "modern/FeedFetch.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "modern/FeedObject.h"
#include "modern/FetchFeed.h"
#include "modern/archive/ClassicCache.h"
#include "modern/archive/FeedArchive.h"
#include "modern/archive/HostLimits.h"
#include "modern/reading/ReadFeed.h"
#include "modern/web/Due.h"
#include "modern/web/Picture.h"
#include "modern/web/WebFetch.h"
#include "modern/web/WebState.h"
#include "net/FetchBudget.h"
#include "net/FetchCall.h"
#include "platform/Digest.h"
#include "quillmoria/StatusTexts.h"

namespace quillmoria {
namespace {

constexpr char kNoMemory[] = "Out of memory";

CTime momentOf(std::int64_t seconds) {
  return seconds <= 0 ? CTime() : CTime(static_cast<std::int32_t>(std::min<std::int64_t>(seconds, INT32_MAX)));
}

/// What the host knows the feed by; failures have it as well.
void name(RSSObject& news, const RSSObject::NewsFeed& feed, const std::string& baseFolder,
          const std::string& sourceNote) {
  news.channel.feedName = feed.name;
  news.channel.sourceNote = sourceNote;
  news.category = feed.category;
  news.baseFolder = baseFolder;
}

void addPicture(RSSObject& news, PictureOrder order) {
  delete std::exchange(news.channelPicture, nullptr);
  order.url = news.channel.image.url;
  if (!order.url.empty()) news.channelPicture = loadPicture(order).release();
}

/// One feed on its way from the server to an object.
class FeedFetch {
 public:
  FeedFetch(const FetchPlace& place, const RSSObject::NewsFeed& feed, WebAddress address)
      : place_(place), key_(address.key()) {
    if (place.archive) known_ = place.archive->facts(key_);
    order_.address = std::move(address);
    order_.userName = feed.userName;
    order_.password = feed.password;
    order_.movedTo = known_.movedTo;
    order_.baseFolder = place.baseFolder;
    order_.pull = place.pull;
  }

  std::unique_ptr<RSSObject> run() {
    if (known_.hasDocument) order_.validators = known_.validators;
    answer_ = fetchFromWeb(order_);
    std::unique_ptr<RSSObject> news = read();
    if (!news) {  // what the answer relies upon went meanwhile
      known_.hasDocument = false;
      order_.validators = {};
      answer_ = fetchFromWeb(order_);
      news = read();
    }
    report(detailsOf(*news));
    const bool mayAsk = detailsOf(*news).outcome != Outcome::NotAsked;
    addPicture(*news, {"", place_.baseFolder, mayAsk, place_.pull, place_.archive});
    return news;
  }

 private:
  /// Null if the answer relies upon what is no longer there.
  std::unique_ptr<RSSObject> read() {
    switch (answer_.outcome) {
      case Outcome::Fetched:
        return readDocument();
      case Outcome::NotModified:
        return unchanged();
      case Outcome::NotAsked:
        return unasked();
      default:
        return failedObject(answer_.outcome, answer_.statusMessage);
    }
  }

  std::unique_ptr<RSSObject> readDocument() {
    bodyHash_ = sha256(answer_.body);
    if (known_.hasDocument && bodyHash_ == known_.bodyHash) {
      if (std::unique_ptr<RSSObject> news = unchanged()) return news;
    }
    FetchBudget::claim(answer_.body.size() * FetchBudget::kObjectBytesPerByte);
    ReadFeed document = readFeed(answer_.body, answer_.fields.last("content-type"), answer_.finalUrl);
    std::string().swap(answer_.body);
    rules_ = document.rules;
    makeDetails(*document.news);
    return std::move(document.news);
  }

  std::unique_ptr<RSSObject> unchanged() const { return stored(Outcome::NotModified, kStatusOk); }

  std::unique_ptr<RSSObject> unasked() const {
    std::unique_ptr<RSSObject> news = stored(Outcome::NotAsked, answer_.statusMessage);
    return news ? std::move(news) : failedObject(Outcome::NotAsked, answer_.statusMessage);
  }

  /// Null if the archive has no document.
  std::unique_ptr<RSSObject> stored(Outcome outcome, const std::string& text) const {
    std::unique_ptr<RSSObject> news = place_.archive ? place_.archive->document(key_, kSeenItem) : nullptr;
    if (!news) return nullptr;
    news->statusMessage = text;
    makeDetails(*news).outcome = outcome;
    return news;
  }

  /// Says in the details what became of the feed, and what that means for the next time.
  void report(ModernDetails& details) {
    const bool isFeed = details.outcome == Outcome::Fetched || details.outcome == Outcome::NotModified;
    if (isFeed) webState->noteFeedFrom(answer_.origin);
    FetchReport& report = details.report;
    report.outcome = details.outcome;
    report.pull = place_.pull;
    report.basis = known_.pull;
    report.asked = answer_.asked;
    report.notBefore = answer_.notBefore;
    report.wentToMovedTo = !order_.movedTo.empty();
    if (isFeed) noteDocument(report);
    report.format = details.format;
    details.key = key_;
    details.httpStatus = answer_.httpStatus;
    details.finalUrl = answer_.finalUrl;
    const FeedFacts after = known_.after(report);
    details.movedTo = after.movedTo;
    details.nextDue = after.isGone ? CTime() : momentOf(after.nextDue);
    details.notBefore = momentOf(answer_.notBefore);
  }

  /// A response that says the document is unchanged replaces only what it carries.
  void noteDocument(FetchReport& report) const {
    report.freshFor = freshSeconds(answer_.fields);
    report.movedTo = answer_.movedTo;
    report.rules = rules_;
    report.validators = validatorsOf(answer_.fields, answer_.finalUrl);
    report.bodyHash = bodyHash_.empty() ? known_.bodyHash : bodyHash_;
    if (answer_.outcome != Outcome::NotModified) return;
    if (report.validators.entityTag.empty()) report.validators.entityTag = known_.validators.entityTag;
    if (report.validators.lastModified.empty()) report.validators.lastModified = known_.validators.lastModified;
  }

  const FetchPlace& place_;
  const std::string key_;
  FeedFacts known_;
  WebOrder order_;
  WebAnswer answer_;
  std::string bodyHash_;
  UpdateRules rules_;
};

std::unique_ptr<RSSObject> fetchedOrFailed(const FetchPlace& place, const RSSObject::NewsFeed& feed) {
  try {
    std::optional<WebAddress> address = WebAddress::parse(feed.url);
    if (!address) return failedObject(Outcome::NetworkError, "This is no web address");
    return FeedFetch(place, feed, std::move(*address)).run();
  } catch (const std::exception&) {
    return failedObject(Outcome::NoMemory, kNoMemory);
  }
}

std::unique_ptr<RSSObject> withoutNetwork(const FetchPlace& place, const RSSObject::NewsFeed& feed) {
  const std::optional<WebAddress> address = WebAddress::parse(feed.url);
  const std::string key = address ? address->key() : "";
  std::unique_ptr<RSSObject> news = place.archive->document(key, kCachedItem);
  if (!news) news = readClassicCache(place.baseFolder, feed.name, address ? address->url.text() : "", kCachedItem);
  if (!news) return failedObject(Outcome::Offline, kStatusNotCached);
  news->statusMessage = kStatusOk;
  ModernDetails& details = makeDetails(*news);
  details.outcome = Outcome::Offline;
  const FeedFacts known = place.archive->facts(key);
  details.movedTo = known.movedTo;
  details.nextDue = known.isGone ? CTime() : momentOf(known.nextDue);
  addPicture(*news, {"", place.baseFolder});
  return news;
}

}  // namespace

std::unique_ptr<RSSObject> fetchObject(const FetchPlace& place, const RSSObject::NewsFeed& feed,
                                       const std::string& sourceNote) {
  const FetchCall call;
  std::unique_ptr<RSSObject> news = fetchedOrFailed(place, feed);
  name(*news, feed, place.baseFolder, sourceNote);
  return news;
}

std::unique_ptr<RSSObject> storedObject(const FetchPlace& place, const RSSObject::NewsFeed& feed) {
  std::unique_ptr<RSSObject> news;
  try {
    news = withoutNetwork(place, feed);
  } catch (const std::exception&) {
    news = failedObject(Outcome::NoMemory, kNoMemory);
  }
  name(*news, feed, place.baseFolder, "");
  return news;
}

void fetchModernFeed(RSSObject& news, RSSObject::NewsFeed feed, std::string sourceNote) {
  const FetchPlace place{std::move(news.baseFolder), webState->beginPull()};
  const SharedLimits limits(place.baseFolder);
  const std::unique_ptr<RSSObject> fetched = fetchObject(place, feed, sourceNote);
  moveObject(news, *fetched);
}

}  // namespace quillmoria
