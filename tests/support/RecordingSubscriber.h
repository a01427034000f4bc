#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "quillmoria/NewsServer.h"

/// Keeps what a pull sends as readable lines, and the feed objects.
///
/// Lines are the event's number and message ("12 category:Tech"); of a feed object "2", its name, status text, item
/// count and new items ("2 Example: OK, 3 items, 1 new").
class RecordingSubscriber : public RSSSubscriber {
 public:
  using Hook = std::function<void(const std::string& line)>;

  /// `hook` is called with each line, inside the callback.
  explicit RecordingSubscriber(Hook hook = nullptr) : hook_(std::move(hook)) {}

  void NewsReceived(RSSObject* feed, RSSEvent event) override {
    {
      std::lock_guard lock(mutex_);
      if (owned_.insert(feed).second) news_.emplace_back(feed);
    }
    record(event, " " + feed->channel.feedName + ": " + feed->statusMessage + ", " + std::to_string(feed->itemCount) +
                      " items, " + std::to_string(feed->newItemCount) + " new");
  }
  void EventReceived(RSSEvent event) override { record(event, ""); }

  /// The lines so far, joined by " | ".
  std::string events() const {
    std::lock_guard lock(mutex_);
    std::string all;
    for (const std::string& line : lines_) all += (all.empty() ? "" : " | ") + line;
    return all;
  }

  /// As events; they are forgotten.
  std::string takeEvents() {
    std::string all = events();
    std::lock_guard lock(mutex_);
    lines_.clear();
    return all;
  }

  /// The feed objects in the order of their first delivery. Only while no pull runs.
  const std::vector<std::unique_ptr<RSSObject>>& news() const { return news_; }

 private:
  void record(const RSSEvent& event, const std::string& more) {
    const std::string message = event.GetMessage();
    const std::string line = std::to_string(event.GetEventID()) + (message.empty() ? "" : " " + message) + more;
    {
      std::lock_guard lock(mutex_);
      lines_.push_back(line);
    }
    if (hook_) hook_(line);
  }

  Hook hook_;
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<std::unique_ptr<RSSObject>> news_;
  std::set<RSSObject*> owned_;
};
