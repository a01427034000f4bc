#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/EngineState.h"
#include "platform/Thread.h"
#include "platform/TransferGroup.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Feeds fetched and parsed on threads of their own before a pull comes to them.
///
///     FetchAhead ahead(categories, limits);
///     std::unique_ptr<RSSObject> news = ahead.take(feed);  // waits until it is there
///
/// At most twice `limits.feeds` objects wait to be taken. Destroying it cuts off what is under way, waits for the
/// threads and releases what was not taken. Belongs to the pull's thread.
class FetchAhead {
 public:
  /// Begins with the enabled feeds of `categories`, which are copied, in their order.
  FetchAhead(const RSSObject::CategoryHolderStruct& categories, FetchLimits limits);
  FetchAhead(const FetchAhead&) = delete;
  FetchAhead& operator=(const FetchAhead&) = delete;
  ~FetchAhead();

  /// The object of `feed`, an entry of the categories given, and lets go of those before it. Null if it is none of
  /// those left. Throws what making the object has thrown.
  std::unique_ptr<RSSObject> take(const RSSObject::NewsFeed& feed);

 private:
  enum class Phase { Waiting, Running, Done };
  struct Job {
    const RSSObject::NewsFeed* origin;  ///< tells the entry; not looked into
    RSSObject::NewsFeed feed;
    std::string host;
    Phase phase = Phase::Waiting;
    std::unique_ptr<RSSObject> news;
    std::exception_ptr error;
  };

  void plan(const RSSObject::CategoryHolderStruct& categories);
  void startThreads();
  void work();
  std::shared_ptr<Job> nextJob();
  void run(Job& job);

  const FetchLimits limits_;
  TransferGroup transfers_;

  std::mutex mutex_;  ///< guards the three below; not held while a feed is fetched
  std::condition_variable changed_;
  std::deque<std::shared_ptr<Job>> jobs_;
  std::map<std::string, std::int32_t> runningByHost_;
  bool isEnding_ = false;

  std::vector<Thread> threads_;
};

}  // namespace quillmoria
