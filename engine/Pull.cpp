#include "engine/Pull.h"

#include <cstddef>
#include <functional>
#include <new>
#include <utility>

#include "engine/EngineState.h"
#include "platform/FreedMemory.h"
#include "platform/Thread.h"
#include "platform/Trace.h"
#include "records/Footprint.h"

namespace quillmoria {
namespace {

constexpr unsigned kExitCodeOfAStoppedPull = 5;  // Compatibility.
constexpr std::size_t kLargeObject = std::size_t{8} << 20;

void endIfShuttingDown() {
  if (engineState->isShuttingDown()) endThread(kExitCodeOfAStoppedPull);
}

void endIfStopped([[maybe_unused]] const char* traceText) {
  endIfShuttingDown();
  if (!engineState->takeStopRequest()) return;
  trace("%s", traceText);
  endThread(kExitCodeOfAStoppedPull);
}

}  // namespace

Pull::Pull(RSSSubscriber& subscriber)
    : subscriber_(subscriber), source_(std::in_place_type<ClassicSource>, *engineState) {
  engineState->beginPull();
}

Pull::~Pull() {
  ahead_.reset();
  engineState->endPull();
}

void Pull::run() {
  trace("Pull News Thread started\n");
  send(engineState->pullStarted);
  settings_ = engineState->pullSettings();
  if (settings_.profile == Profile::Modern) source_.emplace<ModernSource>(settings_.baseFolder);
  beginFetchingAhead();
  for (std::int32_t i = 0; i < categoryCount(); ++i) {
    // Compatibility.
    endIfStopped("Pull News Thread ended on demand");
    pullCategory(settings_.categories.categories[i]);
  }
  send(engineState->offline ? engineState->pullFinishedOffline : engineState->pullFinished);
  trace("Pull News Thread final end.\n");
}

NewsSource& Pull::source() {
  return std::visit([](auto& source) -> NewsSource& { return source; }, source_);
}

void Pull::beginFetchingAhead() {
  if (settings_.fetchLimits.feeds <= 1 || engineState->offline) return;
  try {
    ahead_.emplace(source(), settings_);
  } catch (const std::bad_alloc&) {
    // One feed after the other takes less.
  }
}

/// The host may change the count of the array that the pull began with; the count of another array says nothing about
/// this one.
std::int32_t Pull::categoryCount() {
  RSSObject::CategoryHolderStruct& own = settings_.categories;
  const RSSObject::CategoryHolderStruct current = engineState->categories();
  if (current.categories == own.categories) own.categoryCount = current.categoryCount;
  return own.categories ? own.categoryCount : 0;
}

void Pull::pullCategory(const Category& category) {
  const Feed* const feeds = category.feeds;
  const std::int32_t feedCount = feeds ? category.feedCount : 0;
  engineState->categoryStarted.SetMessage("category:" + category.category);  // Compatibility.
  send(engineState->categoryStarted);
  pullFeeds(feeds, feedCount);
  send(engineState->categoryFinished);
  engineState->categoryStarted.SetMessage("");
}

void Pull::pullFeeds(const Feed* feeds, std::int32_t feedCount) {
  for (std::int32_t i = 0; i < feedCount; ++i) {
    // Compatibility.
    if (engineState->isStopRequested()) return;
    if (settings_.wants(feeds[i], source())) pullFeed(feeds[i]);
  }
}

void Pull::pullFeed(const Feed& feed) {
  send(engineState->feedLoading);
  endIfStopped("Pull News Thread ends on demand2\n");
  std::unique_ptr<RSSObject> news = load(feed);
  endIfStopped("Pull News Thread ends on demand3\n");
  send(engineState->feedLoaded);
  if (!engineState->offline) source().settle(*news);
  const bool isLarge = footprint(*news) >= kLargeObject;
  deliver(std::move(news));
  if (isLarge) returnFreedMemory();
}

/// Whether the machine is offline is asked for each feed, and again before it is settled and at the end of the pull.
std::unique_ptr<RSSObject> Pull::load(const Feed& feed) {
  if (engineState->offline) {
    ahead_.reset();
    return source().fromStore(feed);
  }
  std::unique_ptr<RSSObject> news = ahead_ ? ahead_->take(feed) : nullptr;
  return news ? std::move(news) : source().fetch(feed);
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
