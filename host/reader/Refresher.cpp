#include "reader/Refresher.h"

#include <algorithm>
#include <exception>
#include <nlohmann/json.hpp>
#include <utility>

#include "Archive.h"
#include "Moves.h"
#include "NewsListing.h"
#include "Output.h"
#include "OwnFeeds.h"
#include "Pull.h"
#include "SubscriptionFile.h"
#include "WebAddress.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::int32_t kFeedsAtOnce = 8;
constexpr std::int32_t kStopCheckMs = 50;
constexpr std::size_t kMaxSteps = 10'000;
constexpr std::string_view kCategoryMark = "category:";

std::string asLine(const Json& json) { return json.dump(-1, ' ', true, Json::error_handler_t::replace); }

std::string eventAsJson(const RSSEvent& event) {
  return asLine({{"id", event.GetEventID()}, {"message", event.GetMessage()}});
}

RefreshStep stepOf(const RSSObject& news, const std::string& category) {
  if (const std::string loss = lossText(news); !loss.empty()) {
    return {category, news.channel.feedName, loss, false, true};
  }
  const bool failed = hasFailed(news);
  return {category, news.channel.feedName, failed ? failureText(news) : outcome(news), news.newItemCount > 0, failed};
}

std::string stepAsJson(const RefreshStep& step, std::int32_t newItems) {
  return asLine({{"name", step.feed}, {"outcome", step.outcome}, {"new", newItems}, {"failed", step.failed}});
}

}  // namespace

Refresher::Refresher(std::string baseFolder, ConnectedState connected, std::optional<std::chrono::minutes> interval,
                     EventStream& events, Pictures& pictures)
    : baseFolder_(std::move(baseFolder)),
      connected_(connected),
      interval_(interval),
      events_(events),
      pictures_(pictures) {
  SetConnectedState(connected_);
  NewsServer::SetParallelFetches(kFeedsAtOnce);
  if (interval_) orders_.push_back({PullScope::Due});
  thread_ = std::thread([this] { work(); });
}

Refresher::~Refresher() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Refresher::refresh(PullScope scope) { add({scope}); }

void Refresher::refreshFeed(const std::string& url) { add({PullScope::All, url}); }

void Refresher::stop() {
  const std::lock_guard lock(mutex_);
  orders_.clear();
  isStopped_ = isBusy_;
}

bool Refresher::waitUntilDone(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, patience, [this] { return orders_.empty() && !isBusy_; });
}

RefreshState Refresher::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

std::vector<RefreshStep> Refresher::steps() const {
  const std::lock_guard lock(mutex_);
  return steps_;
}

std::string Refresher::stateAsJson() const {
  const RefreshState now = state();
  return asLine({{"running", now.isRunning},
                 {"done", now.done},
                 {"all", now.all},
                 {"new", now.newItems},
                 {"failed", now.failed},
                 {"feed", now.feed},
                 {"offline", now.isOffline}});
}

void Refresher::EventReceived(RSSEvent event) {
  if (isQuiet_) return;
  events_.send("event", eventAsJson(event));
  const std::int32_t id = event.GetEventID();
  if (id == kCategoryStarted) category_ = event.GetMessage().substr(kCategoryMark.size());
  if (id != kFeedLoading && id != kPullFinishedOffline) return;
  {
    const std::lock_guard lock(mutex_);
    if (id == kPullFinishedOffline) state_.isOffline = true;
    if (id == kFeedLoading && state_.done < order_.size()) state_.feed = order_[state_.done]->name;
  }
  tellState();
}

void Refresher::NewsReceived(RSSObject* feed, RSSEvent) {
  const std::unique_ptr<RSSObject> news(feed);
  const std::string& name = news->channel.feedName;
  const auto address = feeds_->addresses.find(name);
  const FeedDetails* const details = news->GetDetails();
  const bool isKnown = address != feeds_->addresses.end();
  const bool hasMoved = isKnown && details && !details->movedTo.empty();
  if (const CPicture* const picture = news->GetChannelPicture(); isKnown && picture && picture->picture) {
    pictures_.keep(address->second, *picture->picture);
    if (hasMoved) pictures_.keep(details->movedTo, *picture->picture);
  }
  if (isQuiet_) return;
  const RefreshStep step = stepOf(*news, category_);
  const std::int32_t newItems = step.isNew ? news->newItemCount : 0;
  if (hasMoved) moves_.push_back({name, address->second, details->movedTo});
  {
    const std::lock_guard lock(mutex_);
    ++state_.done;
    state_.newItems += static_cast<std::size_t>(newItems);
    if (step.failed) ++state_.failed;
    if (steps_.size() < kMaxSteps) steps_.push_back(step);
  }
  events_.send("feed", stepAsJson(step, newItems));
  tellState();
}

void Refresher::work() {
  try {
    loadPictures();
  } catch (const std::exception& error) {
    complain(error.what());
  }
  while (const std::optional<Order> order = nextOrder()) {
    try {
      carryOut(*order);
    } catch (const std::exception& error) {
      complain(error.what());
    }
    end();
  }
}

/// Waits for one; after the interval it is for what is due. None at the end.
std::optional<Refresher::Order> Refresher::nextOrder() {
  std::unique_lock lock(mutex_);
  isBusy_ = false;
  isStopped_ = false;
  changed_.notify_all();
  const auto isCalled = [this] { return isOver_ || !orders_.empty(); };
  if (!interval_) {
    changed_.wait(lock, isCalled);
  } else if (!changed_.wait_for(lock, *interval_, isCalled)) {
    orders_.push_back({PullScope::Due});
  }
  if (isOver_) return std::nullopt;
  isBusy_ = true;
  Order order = std::move(orders_.front());
  orders_.pop_front();
  return order;
}

void Refresher::add(Order order) {
  {
    const std::lock_guard lock(mutex_);
    if (std::ranges::find(orders_, order) == orders_.end()) orders_.push_back(std::move(order));
  }
  changed_.notify_all();
}

void Refresher::carryOut(const Order& order) {
  Feeds feeds;
  Subscriptions all;
  for (const OwnFeed& feed : ownFeeds(readSubscriptions(baseFolder_), all)) {
    if (!order.url.empty() && addressKey(feed.url) != addressKey(order.url)) continue;
    feeds.addresses.emplace(feeds.subscriptions.add(feed.category, feed.name, feed.url), feed.url);
  }
  if (feeds.subscriptions.empty()) return;
  begin(feeds, order.scope);
  pull(feeds, order.scope, connected_);
  catchUp(feeds);
  followMoves(moves_, baseFolder_);
}

/// The pull has written names and categories as they were when it began. What was changed meanwhile holds.
void Refresher::catchUp(const Feeds& feeds) const {
  Subscriptions names;
  std::map<std::string, OwnFeed> subscribed;
  for (OwnFeed& feed : ownFeeds(readSubscriptions(baseFolder_), names)) {
    subscribed.try_emplace(addressKey(feed.url), std::move(feed));
  }
  useArchive(baseFolder_, [&](NewsArchive& archive) {
    for (const RSSObject::NewsFeed* const pulled : feeds.subscriptions.inPullOrder()) {
      const auto now = subscribed.find(addressKey(pulled->url));
      if (now == subscribed.end()) {
        archive.RemoveFeed(withoutUserInformation(pulled->url));
      } else if (now->second.name != pulled->name || now->second.category != pulled->category) {
        archive.RenameFeed(withoutUserInformation(pulled->url), now->second.name, now->second.category);
      }
    }
  });
}

/// They come with what is stored, which asks nobody.
void Refresher::loadPictures() {
  Feeds feeds;
  for (const OwnFeed& feed : ownFeeds(readSubscriptions(baseFolder_), feeds.subscriptions)) {
    feeds.addresses.emplace(feed.name, feed.url);
  }
  if (feeds.subscriptions.empty()) return;
  feeds_ = &feeds;
  isQuiet_ = true;
  pull(feeds, PullScope::All, ConnectedState::Disconnected);
  isQuiet_ = false;
  SetConnectedState(connected_);
}

void Refresher::pull(Feeds& feeds, PullScope scope, ConnectedState connected) {
  SetConnectedState(connected);
  NewsServer::SetPullScope(scope);
  const std::unique_ptr<NewsServer> server(
      NewsServerFactory::GetFactory()->GetNewsServer(feeds.subscriptions.holder(), baseFolder_));
  server->AttachSubscriber(this);
  // A stop reaches only a pull that has begun, so it is asked for until the pull is over.
  while (!NewsServer::WaitForPulls(kStopCheckMs)) {
    if (isToStop()) server->TerminateNewsPullThread(this);
  }
  server->DetachSubscriber(this);
}

void Refresher::begin(const Feeds& feeds, PullScope scope) {
  feeds_ = &feeds;
  // Of those that are due it is not known which comes next.
  order_ = scope == PullScope::All ? feeds.subscriptions.inPullOrder() : decltype(order_)();
  moves_.clear();
  {
    const std::lock_guard lock(mutex_);
    state_ = {.isRunning = true, .all = feeds.addresses.size()};
    steps_.clear();
  }
  tellState();
}

void Refresher::end() {
  {
    const std::lock_guard lock(mutex_);
    state_.isRunning = false;
    state_.all = state_.done;  // others were not due, or a stop came
    state_.feed.clear();
  }
  tellState();
}

bool Refresher::isToStop() const {
  const std::lock_guard lock(mutex_);
  return isOver_ || isStopped_;
}

void Refresher::tellState() { events_.send("state", stateAsJson()); }

}  // namespace quillmoria
