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
  plan(settings.categories);
  startThreads();
}

FetchAhead::~FetchAhead() {
  {
    std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  transfers_.cutOff();
  for (Thread& thread : threads_) thread.join();
}

std::unique_ptr<RSSObject> FetchAhead::take(const RSSObject::NewsFeed& feed) {
  std::unique_lock lock(mutex_);
  const auto found = std::find_if(jobs_.begin(), jobs_.end(), [&](const auto& job) { return job->origin == &feed; });
  if (found == jobs_.end()) return nullptr;
  jobs_.erase(jobs_.begin(), found);
  changed_.notify_all();
  const std::shared_ptr<Job> job = jobs_.front();
  if (threads_.empty()) {
    lock.unlock();
    run(*job);
    lock.lock();
  }
  changed_.wait(lock, [&] { return job->phase == Phase::Done; });
  jobs_.pop_front();
  changed_.notify_all();
  if (job->error) std::rethrow_exception(job->error);
  return std::move(job->news);
}

void FetchAhead::plan(const RSSObject::CategoryHolderStruct& categories) {
  for (std::int32_t i = 0; categories.categories && i < categories.categoryCount; ++i) {
    const RSSObject::NewsFeedsPerCategoryStruct& category = categories.categories[i];
    for (std::int32_t j = 0; category.feeds && j < category.feedCount; ++j) {
      const RSSObject::NewsFeed& feed = category.feeds[j];
      if (feed.enabled != 1) continue;
      jobs_.push_back(std::make_shared<Job>(Job{&feed, feed, hostOf(feed.url), Phase::Waiting, 0, nullptr, nullptr}));
      runningByHost_[jobs_.back()->host] = 0;  // here, lest a thread runs out of memory where it waits for its job
    }
  }
}

/// Fewer threads than wanted do as well, and without any the feeds are fetched as they are taken.
void FetchAhead::startThreads() {
  const std::size_t wanted = std::min(static_cast<std::size_t>(limits_.feeds), jobs_.size());
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
      std::lock_guard lock(mutex_);
      --runningByHost_[job->host];
    }
    changed_.notify_all();
  }
}

/// Waits for the first job that may run. Null at the end.
std::shared_ptr<FetchAhead::Job> FetchAhead::nextJob() {
  std::unique_lock lock(mutex_);
  std::shared_ptr<Job> next;
  const auto mayRun = [this](const std::shared_ptr<Job>& job) {
    return job->phase == Phase::Waiting && runningByHost_[job->host] < limits_.perHost;
  };
  changed_.wait(lock, [&] {
    if (isEnding_ || jobs_.empty()) return true;
    const auto feeds = static_cast<std::size_t>(limits_.feeds);
    const auto inSight = jobs_.begin() + static_cast<std::ptrdiff_t>(std::min(jobs_.size(), kJobsInSight * feeds));
    const auto begun =
        std::count_if(jobs_.begin(), inSight, [](const auto& job) { return job->phase != Phase::Waiting; });
    // The pull waits for the first one, whatever else is there.
    const auto end = static_cast<std::size_t>(begun) < 2 * feeds ? inSight : jobs_.begin() + 1;
    const auto found = std::find_if(jobs_.begin(), end, mayRun);
    if (found == end) return false;
    next = *found;
    return true;
  });
  if (isEnding_ || !next) return nullptr;
  next->phase = Phase::Running;
  ++runningByHost_[next->host];
  return next;
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
  std::lock_guard lock(mutex_);
  job.news = std::move(news);
  job.error = error;
  job.bytes = bytes;
  job.phase = Phase::Done;
}

void FetchAhead::waitForRoom(Job& job, std::size_t bytes) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return isEnding_ || hasRoomFor(job, bytes); });
  job.bytes = bytes;
}

/// The pull waits for the first one, whatever it takes. One that the pull has let go of may hold back others of its
/// host, so it goes on as well.
bool FetchAhead::hasRoomFor(const Job& job, std::size_t bytes) const {
  bool isAhead = false;
  for (const auto& other : jobs_) {
    if (other.get() != &job) {
      bytes += other->bytes;
    } else {
      isAhead = other != jobs_.front();
    }
  }
  return !isAhead || bytes <= kMaxBytes;
}

}  // namespace quillmoria
