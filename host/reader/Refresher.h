#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PullReport.h"
#include "Subscriptions.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "reader/EventStream.h"
#include "reader/Pictures.h"
#include "reader/RefreshState.h"

namespace quillmoria {

/// Pulls what is subscribed to, when it is told to and whenever something is due, on a thread of its own, and tells of
/// every step. Any thread may make any call.
class Refresher : private RSSSubscriber {
 public:
  /// Whatever is due is pulled at the start and every `interval`; never without one. What is passed must outlive it.
  Refresher(std::string baseFolder, ConnectedState connected, std::optional<std::chrono::minutes> interval,
            EventStream& events, Pictures& pictures);

  /// Stops what is under way.
  ~Refresher() override;

  /// Pulls, as soon as no other pull is under way, what is subscribed to; does nothing if that is to be done anyway.
  void refresh(PullScope scope);

  /// Pulls the feed subscribed at `url` alone, likewise.
  void refreshFeed(const std::string& url);

  /// Ends the pull under way after the fetch under way, and forgets what else was to be done.
  void stop();

  /// Waits until nothing is left to be done. False if that took longer.
  bool waitUntilDone(std::chrono::milliseconds patience);

  RefreshState state() const;

  /// What the pull under way is through with, or the last one was, the first ten thousand feeds in their order.
  std::vector<RefreshStep> steps() const;

  /// The state as JSON, as events have it.
  std::string stateAsJson() const;

 private:
  /// A pull to be made.
  struct Order {
    PullScope scope = PullScope::All;
    std::string url{};  ///< of the only feed; empty: all
    bool operator==(const Order&) const = default;
  };

  /// What a pull is made over.
  struct Feeds {
    Subscriptions subscriptions;
    std::map<std::string, std::string> addresses;  ///< by the names that the pull knows the feeds by
  };

  void EventReceived(RSSEvent event) override;
  void NewsReceived(RSSObject* feed, RSSEvent event) override;

  void work();
  std::optional<Order> nextOrder();
  void add(Order order);
  void carryOut(const Order& order);
  void catchUp(const Feeds& feeds) const;
  void loadPictures();
  void pull(Feeds& feeds, PullScope scope, ConnectedState connected);
  void begin(const Feeds& feeds, PullScope scope);
  void end();
  bool isToStop() const;
  void tellState();

  const std::string baseFolder_;
  const ConnectedState connected_;
  const std::optional<std::chrono::minutes> interval_;
  EventStream& events_;
  Pictures& pictures_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Order> orders_;
  RefreshState state_;
  std::vector<RefreshStep> steps_;
  bool isBusy_ = true;  ///< the thread is not waiting for orders
  bool isStopped_ = false;
  bool isOver_ = false;

  // Of the pull under way; touched before it, by it alone, and after it.
  const Feeds* feeds_ = nullptr;
  std::string category_;                           ///< that the pull is in
  bool isQuiet_ = false;                           ///< nobody is told
  std::vector<const RSSObject::NewsFeed*> order_;  ///< in which feeds come; empty where that is not known
  std::vector<Move> moves_;

  std::thread thread_;
};

}  // namespace quillmoria
