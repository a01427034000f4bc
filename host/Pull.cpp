#include "Pull.h"

#include <algorithm>
#include <string_view>

#include "WebAddress.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {
namespace {

struct StatusAdvice {
  std::string_view status;
  std::string_view advice;
};

constexpr StatusAdvice kStatusAdvice[] = {
    {kStatusUnparsed, "the address gives no complete feed document"},
    {kStatusDenied, "the server wants a user name and a password"},
    {kStatusNotCached, "pull it once while online"},
};

struct OutcomeAdvice {
  Outcome outcome;
  std::string_view advice;
};

constexpr OutcomeAdvice kOutcomeAdvice[] = {
    {Outcome::Offline, "pull it once while online"},
    {Outcome::Denied, "it may want a user name and a password, or others"},
    {Outcome::NotFound, "check the address"},
    {Outcome::Gone, "the feed has ended: unsubscribe"},
    {Outcome::ServerError, "try again later"},
    {Outcome::NetworkError, "check the address and the network"},
    {Outcome::NotAFeed, "quillmoria find tells the feeds of a page"},
};

std::string_view adviceFor(const RSSObject& news) {
  if (const FeedDetails* details = news.GetDetails()) {
    for (const OutcomeAdvice& entry : kOutcomeAdvice) {
      if (details->outcome == entry.outcome) return entry.advice;
    }
    return {};
  }
  for (const StatusAdvice& entry : kStatusAdvice) {
    if (news.statusMessage == entry.status) return entry.advice;
  }
  return {};
}

/// Whether there are items that are new, or that could not be compared with the cache.
bool hasUnseenItems(const RSSObject& news) {
  const auto* const items = news.getNewsItems();
  return std::any_of(items, items + news.itemCount, [](const auto& item) { return item.status != kSeenItem; });
}

}  // namespace

PullRunner::PullRunner(Subscriptions& subscriptions, const std::string& baseFolder, RSSSubscriber& subscriber)
    : server_(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions.holder(), baseFolder)),
      subscriber_(subscriber),
      interruption_(*server_, subscriber) {}

void PullRunner::pull() {
  server_->AttachSubscriber(&subscriber_);
  NewsServer::WaitForPulls(-1);
  server_->DetachSubscriber(&subscriber_);
}

void loadStoredPicture(RSSObject& news, const std::string& baseFolder) {
  if (news.GetDetails() || news.GetChannelPicture() || news.channel.image.url.empty()) return;
  news.baseFolder = baseFolder;
  news.LoadImage(news.channel.image);
}

bool hasFailed(const RSSObject& news) {
  const FeedDetails* const details = news.GetDetails();
  if (!details) return news.itemCount < 0;
  switch (details->outcome) {
    case Outcome::NotModified:
    case Outcome::NotAsked:
      return false;
    case Outcome::Fetched:
    case Outcome::Offline:
      return news.itemCount < 0;
    default:
      return true;
  }
}

bool wasFetched(const RSSObject& news) {
  const FeedDetails* const details = news.GetDetails();
  return details ? details->outcome == Outcome::Fetched : news.statusMessage == kStatusOk;
}

bool wasReadFromCache(const RSSObject& news) {
  if (const FeedDetails* details = news.GetDetails()) return details->outcome == Outcome::Offline;
  return news.itemCount < 0 ? news.statusMessage == kStatusNotCached : !wasFetched(news);
}

std::string failureText(const RSSObject& news) {
  if (news.statusMessage.empty()) return "the fetch failed";
  std::string text = withoutUserInformation(news.statusMessage);  // libcurl quotes a proxy that it does not understand
  if (const std::string_view advice = adviceFor(news); !advice.empty()) text.append(" (").append(advice).append(")");
  return text;
}

std::string lossText(const RSSObject& news) {
  if (hasFailed(news) || !wasFetched(news) || !hasUnseenItems(news) || news.WasStored()) return {};
  return std::string(news.GetDetails() ? "its news cannot be kept" : "its cache file cannot be written") +
         " (is the disk full or read-only?): its items will be new again";
}

}  // namespace quillmoria
