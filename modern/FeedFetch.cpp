#include "modern/FeedFetch.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "modern/FeedObject.h"
#include "modern/FetchFeed.h"
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

std::string keyOf(const std::string& baseFolder, const WebAddress& address) {
  return baseFolder + '\n' + address.key();
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
      : place_(place), feed_(feed), key_(keyOf(place.baseFolder, address)) {
    if (place.mode == FetchMode::InPull) known_ = webState->feed(key_).value_or(FeedFacts());
    order_.address = std::move(address);
    order_.userName = feed.userName;
    order_.password = feed.password;
    order_.movedTo = known_.movedTo;
    order_.baseFolder = place.baseFolder;
    order_.pull = place.pull;
  }

  std::unique_ptr<RSSObject> run() {
    if (holdsWhatIsKnown()) order_.validators = known_.validators;
    answer_ = fetchFromWeb(order_);
    std::unique_ptr<RSSObject> news = read();
    if (!news) {  // the file that the answer relies upon went meanwhile
      order_.validators = {};
      answer_ = fetchFromWeb(order_);
      news = read();
    }
    report(detailsOf(*news));
    addPicture(*news, {"", place_.baseFolder, detailsOf(*news).outcome != Outcome::NotAsked, place_.pull});
    return news;
  }

 private:
  /// Whether the cache file is the one that was stored last.
  bool holdsWhatIsKnown() const {
    return place_.mode == FetchMode::InPull && known_.feedName == feed_.name && known_.stored != FileStamp() &&
           cacheStamp(place_.baseFolder, feed_.name) == known_.stored;
  }

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
    if (bodyHash_ == known_.bodyHash && holdsWhatIsKnown()) {
      if (std::unique_ptr<RSSObject> news = unchanged()) return news;
    }
    FetchBudget::claim(answer_.body.size() * FetchBudget::kObjectBytesPerByte);
    ReadFeed document = readFeed(answer_.body, answer_.fields.last("content-type"), answer_.finalUrl);
    std::string().swap(answer_.body);
    rules_ = document.rules;
    makeDetails(*document.news);
    return std::move(document.news);
  }

  std::unique_ptr<RSSObject> unchanged() const {
    std::unique_ptr<RSSObject> news = cachedObject(place_.baseFolder, feed_.name, kSeenItem);
    if (news->itemCount < 0) return nullptr;
    news->statusMessage = kStatusOk;
    detailsOf(*news).outcome = Outcome::NotModified;
    detailsOf(*news).format = known_.format;
    return news;
  }

  /// Outside of pulls nothing is looked at that they have left.
  std::unique_ptr<RSSObject> unasked() const {
    std::unique_ptr<RSSObject> news = place_.mode == FetchMode::InPull
                                          ? cachedObject(place_.baseFolder, feed_.name, kSeenItem)
                                          : failedObject(Outcome::NotAsked, "");
    news->statusMessage = answer_.statusMessage;
    detailsOf(*news).outcome = Outcome::NotAsked;
    detailsOf(*news).format = known_.format;
    return news;
  }

  /// Says in the details what became of the feed, and what that means for the next time.
  void report(ModernDetails& details) {
    const bool isFeed = details.outcome == Outcome::Fetched || details.outcome == Outcome::NotModified;
    if (isFeed) webState->noteFeedFrom(answer_.origin);
    FetchReport& report = details.report;
    report.outcome = details.outcome;
    report.pull = place_.pull;
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
  const RSSObject::NewsFeed& feed_;
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

}  // namespace

std::string memoryKey(const std::string& baseFolder, const std::string& url) {
  const std::optional<WebAddress> address = WebAddress::parse(url);
  return address ? keyOf(baseFolder, *address) : "";
}

std::unique_ptr<RSSObject> fetchObject(const FetchPlace& place, const RSSObject::NewsFeed& feed,
                                       const std::string& sourceNote) {
  const FetchCall call;
  std::unique_ptr<RSSObject> news = fetchedOrFailed(place, feed);
  name(*news, feed, place.baseFolder, sourceNote);
  return news;
}

std::unique_ptr<RSSObject> storedObject(const std::string& baseFolder, const RSSObject::NewsFeed& feed) {
  std::unique_ptr<RSSObject> news;
  try {
    news = cachedObject(baseFolder, feed.name, kCachedItem);
    const std::string key = memoryKey(baseFolder, feed.url);
    const FeedFacts known = webState->feed(key).value_or(FeedFacts());
    if (news->itemCount >= 0) news->statusMessage = kStatusOk;
    detailsOf(*news).format = known.format;
    detailsOf(*news).movedTo = known.movedTo;
    detailsOf(*news).nextDue = known.isGone ? CTime() : momentOf(known.nextDue);
    addPicture(*news, {"", baseFolder});
  } catch (const std::exception&) {
    news = failedObject(Outcome::NoMemory, kNoMemory);
  }
  if (detailsOf(*news).outcome != Outcome::NoMemory) detailsOf(*news).outcome = Outcome::Offline;
  name(*news, feed, baseFolder, "");
  return news;
}

void fetchModernFeed(RSSObject& news, RSSObject::NewsFeed feed, std::string sourceNote) {
  const FetchPlace place{std::move(news.baseFolder), webState->beginPull(), FetchMode::Alone};
  const std::unique_ptr<RSSObject> fetched = fetchObject(place, feed, sourceNote);
  moveObject(news, *fetched);
}

}  // namespace quillmoria
