#include "engine/FetchAhead.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/Text.h"
#include "records/Footprint.h"

namespace quillmoria {
namespace {

/// How many jobs a free thread looks at, for each feed that may be fetched at once, to find one whose host is free.
constexpr std::size_t kJobsInSight = 16;

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

/// Scheme, host and port of an address.
std::string hostOf(std::string_view url) {
  const std::size_t scheme = url.find("://");
  const std::size_t host = scheme == std::string_view::npos ? 0 : scheme + 3;
  return lowerAscii(url.substr(0, url.find('/', host)));
}

}  // namespace

FetchAhead::FetchAhead(NewsSource& source, const PullSettings& settings)
    : source_(source), limits_(settings.fetchLimits) {
  const std::size_t jobs = plan(settings);
  startThreads(std::min(static_cast<std::size_t>(limits_.feeds), jobs));
}

FetchAhead::~FetchAhead() {
  {
    const MutexLock lock(mutex_);
    isEnding_ = true;
  }
  changed_.notifyAll();
  transfers_.cutOff();
  for (Thread& thread : threads_) thread.join();
}

std::unique_ptr<RSSObject> FetchAhead::take(const RSSObject::NewsFeed& feed) {
  const std::shared_ptr<Job> job = advanceTo(feed);
  if (!job) return nullptr;
  if (threads_.empty() || !waitFor(*job)) run(*job);
  const MutexLock lock(mutex_);
  awaited_ = nullptr;
  jobs_.pop_front();
  changed_.notifyAll();
  if (job->error) std::rethrow_exception(job->error);
  return std::move(job->news);
}

/// The job of `feed`, now the first; null if it is none of those left.
std::shared_ptr<FetchAhead::Job> FetchAhead::advanceTo(const RSSObject::NewsFeed& feed) {
  const MutexLock lock(mutex_);
  const auto found = std::find_if(jobs_.begin(), jobs_.end(), [&](const auto& job) { return job->origin == &feed; });
  if (found == jobs_.end()) return nullptr;
  jobs_.erase(jobs_.begin(), found);
  awaited_ = jobs_.front().get();
  changed_.notifyAll();
  return jobs_.front();
}

/// False if the thread that was at it had to give it up.
bool FetchAhead::waitFor(const Job& job) {
  const MutexLock lock(mutex_);
  while (job.phase == Phase::Waiting || job.phase == Phase::Running) changed_.wait(mutex_);
  return job.phase == Phase::Done;
}

std::size_t FetchAhead::plan(const PullSettings& settings) {
  const RSSObject::CategoryHolderStruct& categories = settings.categories;
  const MutexLock lock(mutex_);
  for (std::int32_t i = 0; categories.categories && i < categories.categoryCount; ++i) {
    const RSSObject::NewsFeedsPerCategoryStruct& category = categories.categories[i];
    for (std::int32_t j = 0; category.feeds && j < category.feedCount; ++j) {
      const RSSObject::NewsFeed& feed = category.feeds[j];
      if (!settings.wants(feed, source_)) continue;
      jobs_.push_back(std::make_shared<Job>(Job{&feed, feed, hostOf(feed.url)}));
      runningByHost_[jobs_.back()->host] = 0;  // here, lest a thread runs out of memory where it waits for its job
    }
  }
  return jobs_.size();
}

/// Fewer threads than wanted do as well, and without any the feeds are fetched as they are taken.
void FetchAhead::startThreads(std::size_t wanted) {
  threads_.reserve(wanted);
  try {
    while (threads_.size() < wanted) {
      threads_.push_back(_beginthread([](void* self) { static_cast<FetchAhead*>(self)->work(); }, this));
    }
  } catch (const std::exception&) {
  }
}

void FetchAhead::work() {
  const TransferGroup::Membership membership(transfers_);
  while (const std::shared_ptr<Job> job = nextJob()) {
    {
      JobBudget budget(*this, *job);
      const FetchBudget::Membership member(budget);
      run(*job);
    }
    {
      const MutexLock lock(mutex_);
      --runningByHost_[job->host];
    }
    changed_.notifyAll();
  }
}

/// Waits for a job that may run. Null at the end.
std::shared_ptr<FetchAhead::Job> FetchAhead::nextJob() {
  const MutexLock lock(mutex_);
  for (; !isEnding_ && !jobs_.empty(); changed_.wait(mutex_)) {
    if (std::shared_ptr<Job> next = chooseJob()) {
      next->phase = Phase::Running;
      ++runningByHost_[next->host];
      return next;
    }
  }
  return nullptr;
}

/// The first job that may run now, or null. The pull waits for the first of all, whatever else is there.
std::shared_ptr<FetchAhead::Job> FetchAhead::chooseJob() {
  const auto feeds = static_cast<std::size_t>(limits_.feeds);
  const auto inSight = jobs_.begin() + static_cast<std::ptrdiff_t>(std::min(jobs_.size(), kJobsInSight * feeds));
  const auto begun =
      std::count_if(jobs_.begin(), inSight, [](const auto& job) { return job->phase != Phase::Waiting; });
  const auto end = static_cast<std::size_t>(begun) < 2 * feeds ? inSight : jobs_.begin() + 1;
  for (auto job = jobs_.begin(); job != end; ++job) {
    if ((*job)->phase == Phase::Waiting && runningByHost_[(*job)->host] < limits_.perHost) return *job;
  }
  return nullptr;
}

void FetchAhead::run(Job& job) {
  std::unique_ptr<RSSObject> news;
  std::exception_ptr error;
  try {
    news = source_.fetch(job.feed);
  } catch (...) {
    error = std::current_exception();
  }
  const std::size_t bytes = news ? footprint(*news) : 0;
  const MutexLock lock(mutex_);
  if (std::exchange(job.isGivenUp, false)) {
    job.bytes = 0;
    job.phase = Phase::Postponed;
    return;
  }
  job.news = std::move(news);
  job.error = error;
  job.bytes = bytes;
  job.phase = Phase::Done;
}

bool FetchAhead::admit(Job& job, std::size_t bytes) {
  const MutexLock lock(mutex_);
  job.isGivenUp = !hasRoomFor(job, bytes);
  if (!job.isGivenUp) job.bytes = bytes;
  return !job.isGivenUp;
}

void FetchAhead::waitForRoom(Job& job, std::size_t bytes) {
  const MutexLock lock(mutex_);
  while (!isEnding_ && !hasRoomFor(job, bytes)) changed_.wait(mutex_);
  job.bytes = bytes;
}

/// The pull waits for one, whatever that takes. One that the pull has let go of may hold back others of its host, so it
/// goes on as well.
bool FetchAhead::hasRoomFor(const Job& job, std::size_t bytes) const {
  bool isAhead = false;
  for (const auto& other : jobs_) {
    if (other.get() != &job) {
      bytes += other->bytes;
    } else {
      isAhead = &job != awaited_;
    }
  }
  return !isAhead || bytes <= kMaxBytes;
}

}  // namespace quillmoria
