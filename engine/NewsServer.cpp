#include "quillmoria/NewsServer.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "engine/EngineState.h"
#include "net/FetchCall.h"
#include "platform/CInternetSession.h"
#include "platform/InternetQueryOption.h"
#include "records/FeedObjectAccess.h"
#include "store/ItemMatching.h"
#include "store/NewsItemCache.h"

using quillmoria::engineState;

/// Compatibility.
NewsServer::NewsServer(RSSObject::CategoryHolderStruct categories, std::string baseFolder) {
  engineState->setUp(categories, std::move(baseFolder));
}

NewsServer::NewsServer(const NewsServer&) {}
NewsServer& NewsServer::operator=(const NewsServer&) { return *this; }
NewsServer::~NewsServer() = default;

void NewsServer::NotifySubscribers(RSSObject* feed) {
  engineState->forEachAttached(
      nullptr, [feed](RSSSubscriber& subscriber) { subscriber.NewsReceived(feed, engineState->newsDelivered); });
}

void NewsServer::NotifySubscriber(RSSSubscriber* subscriber, RSSObject* feed) {
  if (!subscriber) return;
  engineState->forEachAttached(
      subscriber, [feed](RSSSubscriber& attached) { attached.NewsReceived(feed, engineState->newsDelivered); });
}

void NewsServer::SetCategories(RSSObject::CategoryHolderStruct categories) { engineState->setCategories(categories); }

void NewsServer::AttachSubscriber(RSSSubscriber* subscriber) {
  if (!subscriber) return;
  engineState->attach(subscriber);
  RefreshAllNewsForSubscriber(subscriber);
}

void NewsServer::DetachSubscriber(RSSSubscriber* subscriber) { engineState->detach(subscriber); }

void NewsServer::RefreshAllNewsForSubscriber(RSSSubscriber* subscriber) {
  if (!subscriber) return;
  if (const auto state = InternetQueryConnectedState()) {
    engineState->offline = (*state & INTERNET_STATE_DISCONNECTED) != 0;
  }
  if (!engineState->offline) CInternetSession::SetUpNetwork();
  engineState->startPull(&pullNews, subscriber);
}

void NewsServer::TerminateNewsPullThread(RSSSubscriber*) { engineState->requestStop(); }

void NewsServer::SetParallelFetches(std::int32_t feeds, std::int32_t perHost) {
  constexpr std::int32_t kMaxFetches = 64;
  engineState->setFetchLimits({std::clamp(feeds, 1, kMaxFetches), std::clamp(perHost, 1, kMaxFetches)});
}

void NewsServer::SetPullScope(PullScope scope) { engineState->setPullScope(scope); }

bool NewsServer::WaitForPulls(std::int32_t milliseconds) {
  const bool allEnded = engineState->waitForPulls(milliseconds);
  quillmoria::FetchCall::releaseModule();
  return allEnded;
}

void NewsServer::matchAndCacheItems(RSSObject* feed) {
  try {
    const std::string baseFolder = engineState->baseFolder();
    NewsItemCache cache;
    quillmoria::matchItems(*feed, *cache.ReadFeed(NewsItemCache::filePath(baseFolder, feed->channel.feedName)));
    quillmoria::FeedObjectAccess::setStored(*feed, cache.StoreFeed(baseFolder, feed, 4, feed->channel.sourceNote) == 1);
  } catch (const std::exception&) {
    // Not knowing which items are new, keep the file for the next pull, which is to find them.
    quillmoria::unmatchItems(*feed);
  }
}
