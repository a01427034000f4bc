#include "engine/Pull.h"

#include <exception>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "engine/EngineState.h"
#include "platform/Thread.h"
#include "platform/Trace.h"
#include "store/NewsItemCache.h"

namespace quillmoria {
namespace {

constexpr unsigned kExitCodeOfAStoppedPull = 5;

void endIfShuttingDown() {
  if (engineState->isShuttingDown()) endThread(kExitCodeOfAStoppedPull);
}

void endIfStopped([[maybe_unused]] const char* traceText) {
  endIfShuttingDown();
  if (!engineState->takeStopRequest()) return;
  trace("%s", traceText);
  endThread(kExitCodeOfAStoppedPull);
}

/// What stands for a feed whose object cannot be made for want of memory: as after a fetch that an exception has ended.
std::unique_ptr<RSSObject> notFetched(const RSSObject::NewsFeed& feed) {
  RSSObject::ChannelStruct channel;
  channel.feedName = feed.name;
  auto news = std::make_unique<RSSObject>(std::move(channel), nullptr, -1);
  news->category = feed.category;
  news->statusMessage.clear();
  return news;
}

}  // namespace

Pull::Pull(RSSSubscriber& subscriber) : subscriber_(subscriber) { engineState->beginPull(); }

Pull::~Pull() {
  ahead_.reset();
  engineState->endPull();
}

void Pull::run() {
  trace("Pull News Thread started\n");
  send(engineState->pullStarted);
  categories_ = engineState->categories();
  beginFetchingAhead();
  for (std::int32_t i = 0; i < categoryCount(); ++i) {
    endIfStopped("Pull News Thread ended on demand");
    pullCategory(categories_.categories[i]);
  }
  send(engineState->offline ? engineState->pullFinishedOffline : engineState->pullFinished);
  trace("Pull News Thread final end.\n");
}

void Pull::beginFetchingAhead() {
  const FetchLimits limits = engineState->fetchLimits();
  if (limits.feeds <= 1 || engineState->offline) return;
  try {
    ahead_.emplace(categories_, limits);
  } catch (const std::bad_alloc&) {
    // One feed after the other takes less.
  }
}

/// The host may change the count of the array that the pull began with; the count of another array says nothing about
/// this one.
std::int32_t Pull::categoryCount() {
  const RSSObject::CategoryHolderStruct current = engineState->categories();
  if (current.categories == categories_.categories) categories_.categoryCount = current.categoryCount;
  return categories_.categories ? categories_.categoryCount : 0;
}

void Pull::pullCategory(const Category& category) {
  engineState->categoryStarted.SetMessage("category:" + category.category);
  send(engineState->categoryStarted);
  pullFeeds(category);
  send(engineState->categoryFinished);
  engineState->categoryStarted.SetMessage("");
}

void Pull::pullFeeds(const Category& category) {
  const Feed* const feeds = category.feeds;
  const std::int32_t feedCount = feeds ? category.feedCount : 0;
  for (std::int32_t i = 0; i < feedCount; ++i) {
    // A request that is found here stays, for the check before the next category.
    if (engineState->isStopRequested()) return;
    if (feeds[i].enabled == 1) pullFeed(feeds[i]);
  }
}

void Pull::pullFeed(const Feed& feed) {
  send(engineState->feedLoading);
  endIfStopped("Pull News Thread ends on demand2\n");
  std::unique_ptr<RSSObject> news = load(feed);
  endIfStopped("Pull News Thread ends on demand3\n");
  send(engineState->feedLoaded);
  if (news->itemCount != -1 && !engineState->offline) NewsServer::matchAndCacheItems(news.get());
  deliver(std::move(news));
}

std::unique_ptr<RSSObject> Pull::load(const Feed& feed) {
  const std::string baseFolder = engineState->baseFolder();
  if (engineState->offline) {
    ahead_.reset();
    return std::unique_ptr<RSSObject>(NewsItemCache().LoadFeed(NewsItemCache::filePath(baseFolder, feed.name)));
  }
  try {
    std::unique_ptr<RSSObject> news = ahead_ ? ahead_->take(feed) : nullptr;
    return news ? std::move(news) : std::make_unique<RSSObject>(feed, "", baseFolder);
  } catch (const std::exception&) {
    return notFetched(feed);
  }
}

/// From the first call on the object is the subscriber's; one that nobody takes is released here.
void Pull::deliver(std::unique_ptr<RSSObject> news) const {
  RSSObject* const passed = news.get();
  const auto pass = [&](RSSSubscriber& subscriber) {
    endIfShuttingDown();
    news.release();
    subscriber.NewsReceived(passed, engineState->newsDelivered);
  };
  // As a reference it takes no memory: what is stored already must not get lost for want of it.
  engineState->forEachAttached(&subscriber_, std::ref(pass));
}

void Pull::send(const RSSEvent& event) const {
  endIfShuttingDown();
  subscriber_.EventReceived(event);
}

}  // namespace quillmoria

void NewsServer::pullNews(void* subscriber) { quillmoria::Pull(*static_cast<RSSSubscriber*>(subscriber)).run(); }
