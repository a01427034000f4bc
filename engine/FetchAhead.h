#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/PullSettings.h"
#include "net/FetchBudget.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"
#include "platform/TransferGroup.h"
#include "quillmoria/RSSObject.h"
#include "records/NewsSource.h"

namespace quillmoria {

/// Feeds fetched and parsed on threads of their own before a pull comes to them.
///
///     FetchAhead ahead(source, settings);
///     std::unique_ptr<RSSObject> news = ahead.take(feed);  // waits until it is there
///
/// At most twice as many objects as may be fetched at once wait to be taken, and together with what is under way they
/// take no more than 64 MiB, but for the feed that the pull waits for. A transfer that would take more is given up, and
/// the feed fetched when the pull comes to it. Destroying it cuts off what is under way, waits
/// for the threads and releases what was not taken. Belongs to the pull's thread.
class FetchAhead {
 public:
  /// Begins with the enabled feeds of the categories, which are copied, in their order. `source` must outlive this.
  FetchAhead(NewsSource& source, const PullSettings& settings);
  FetchAhead(const FetchAhead&) = delete;
  FetchAhead& operator=(const FetchAhead&) = delete;
  ~FetchAhead();

  /// The object of `feed`, an entry of the categories given, and lets go of those before it. Null if it is none of
  /// those left. Throws what making the object has thrown.
  std::unique_ptr<RSSObject> take(const RSSObject::NewsFeed& feed);

 private:
  enum class Phase { Waiting, Running, Postponed, Done };
  struct Job {
    const RSSObject::NewsFeed* origin;  ///< tells the entry; not looked into
    RSSObject::NewsFeed feed;
    std::string host;
    Phase phase = Phase::Waiting;
    std::size_t bytes = 0;   ///< that it takes, its object included
    bool isGivenUp = false;  ///< while it runs
    std::unique_ptr<RSSObject> news = nullptr;
    std::exception_ptr error = nullptr;
  };

  /// What one job takes of the memory for all.
  class JobBudget final : public FetchBudget {
   public:
    JobBudget(FetchAhead& ahead, Job& job) : ahead_(ahead), job_(job) {}

   private:
    bool admit(std::size_t bytes) override { return ahead_.admit(job_, bytes); }
    void take(std::size_t bytes) override { ahead_.waitForRoom(job_, bytes); }

    FetchAhead& ahead_;
    Job& job_;
  };

  std::size_t plan(const PullSettings& settings);
  void startThreads(std::size_t wanted);
  std::shared_ptr<Job> advanceTo(const RSSObject::NewsFeed& feed);
  void work();
  std::shared_ptr<Job> nextJob();
  std::shared_ptr<Job> chooseJob() REQUIRES(mutex_);
  bool waitFor(const Job& job);
  void run(Job& job);
  bool admit(Job& job, std::size_t bytes);
  void waitForRoom(Job& job, std::size_t bytes);
  bool hasRoomFor(const Job& job, std::size_t bytes) const REQUIRES(mutex_);

  NewsSource& source_;
  const FetchLimits limits_;
  TransferGroup transfers_;

  Mutex mutex_;  ///< not held while a feed is fetched
  ConditionVariable changed_;
  std::deque<std::shared_ptr<Job>> jobs_ GUARDED_BY(mutex_);  ///< those not taken yet
  const Job* awaited_ GUARDED_BY(mutex_) = nullptr;           ///< the first, while the pull waits for it
  std::map<std::string, std::int32_t> runningByHost_ GUARDED_BY(mutex_);
  bool isEnding_ GUARDED_BY(mutex_) = false;

  std::vector<Thread> threads_;
};

}  // namespace quillmoria
