#include "engine/EngineState.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <utility>

#include "platform/Trace.h"

namespace quillmoria {

constinit ModuleObject<EngineState> engineState;

EngineState::EngineState(void (*shutDown)()) : shutDown_(shutDown) {}

void EngineState::setCategories(RSSObject::CategoryHolderStruct categories) {
  const MutexLock lock(mutex_);
  categories_ = categories;
}

void EngineState::setUp(RSSObject::CategoryHolderStruct categories, std::string baseFolder) {
  const MutexLock lock(mutex_);
  categories_ = categories;
  stopRequested_ = false;
  baseFolder_ = std::move(baseFolder);
}

RSSObject::CategoryHolderStruct EngineState::categories() const {
  const MutexLock lock(mutex_);
  return categories_;
}

std::string EngineState::baseFolder() const {
  const MutexLock lock(mutex_);
  return baseFolder_;
}

void EngineState::setFetchLimits(FetchLimits limits) {
  const MutexLock lock(mutex_);
  fetchLimits_ = limits;
}

void EngineState::setProfile(Profile profile) {
  const MutexLock lock(mutex_);
  profile_ = profile;
}

void EngineState::setPullScope(PullScope scope) {
  const MutexLock lock(mutex_);
  pullScope_ = scope;
}

Profile EngineState::profile() const {
  const MutexLock lock(mutex_);
  return profile_;
}

PullSettings EngineState::pullSettings() const {
  const MutexLock lock(mutex_);
  return {categories_, fetchLimits_, profile_, pullScope_, baseFolder_};
}

void EngineState::attach(RSSSubscriber* subscriber) {
  const MutexLock lock(mutex_);
  attachments_.push_back({++lastSerial_, subscriber});
}

void EngineState::detach(const RSSSubscriber* subscriber) {
  const MutexLock lock(mutex_);
  std::erase_if(attachments_, [&](const Attachment& attachment) { return attachment.subscriber == subscriber; });
}

void EngineState::forEachAttached(const RSSSubscriber* only, const std::function<void(RSSSubscriber&)>& call) const {
  std::uint64_t serial = 0;
  const std::uint64_t last = lastSerial();
  while (RSSSubscriber* subscriber = nextAttached(serial, last, only)) call(*subscriber);
}

std::uint64_t EngineState::lastSerial() const {
  const MutexLock lock(mutex_);
  return lastSerial_;
}

/// The first entry after `serial` and up to `last` that fits `only`, whose serial then becomes `serial`; or null.
RSSSubscriber* EngineState::nextAttached(std::uint64_t& serial, std::uint64_t last, const RSSSubscriber* only) const {
  const MutexLock lock(mutex_);
  const auto found = std::find_if(attachments_.begin(), attachments_.end(), [&](const Attachment& attachment) {
    return attachment.serial > serial && attachment.serial <= last && attachment.subscriber &&
           (!only || attachment.subscriber == only);
  });
  if (found == attachments_.end()) return nullptr;
  serial = found->serial;
  return found->subscriber;
}

void EngineState::startPull(void (*pull)(void*), RSSSubscriber* subscriber) {
  std::list<PullThread> ended;
  try {
    ModuleReference module = ModuleReference::take();
    const MutexLock lock(mutex_);
    if (!hasExitHandler_) {
      callAtExit(shutDown_);
      hasExitHandler_ = true;
    }
    ended = takeEndedPulls();
    if (shuttingDown_) return;
    pulls_.push_back({{}, std::move(module)});
    try {
      // The thread first looks for its entry here, and so waits for the mutex.
      pulls_.back().thread = _beginthread(pull, subscriber);
    } catch (...) {
      pulls_.pop_back();
      throw;
    }
    trace("News pull Thread Id: %d\n", pulls_.back().thread.id());
  } catch (const std::exception& error) {
    trace("No thread for a pull: %s\n", error.what());
  }
  join(std::move(ended));
}

void EngineState::beginPull() {
  {
    const MutexLock lock(mutex_);
    ownPull()->phase = Phase::Begun;
  }
  pullLock_.Lock();
}

void EngineState::endPull() noexcept {
  const MutexLock lock(mutex_);
  stopRequested_ = false;
  pullLock_.Unlock();
  ownPull()->phase = Phase::Ended;
  pullEnded_.notifyAll();
}

bool EngineState::waitForPulls(std::int32_t milliseconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  std::list<PullThread> ended;
  bool isInTime = true;
  bool allEnded = false;
  {
    const MutexLock lock(mutex_);
    if (ownPull()) return false;
    while (!(allEnded = !isAnyPull(Phase::Requested) && !isAnyPull(Phase::Begun)) && isInTime) {
      milliseconds < 0 ? pullEnded_.wait(mutex_) : void(isInTime = pullEnded_.waitUntil(mutex_, end));
    }
    ended = takeEndedPulls();
  }
  join(std::move(ended));
  return allEnded;
}

void EngineState::requestStop() {
  const MutexLock lock(mutex_);
  if (isAnyPull(Phase::Begun)) stopRequested_ = true;
}

bool EngineState::isStopRequested() const {
  const MutexLock lock(mutex_);
  return stopRequested_;
}

bool EngineState::takeStopRequest() {
  const MutexLock lock(mutex_);
  return std::exchange(stopRequested_, false);
}

bool EngineState::isShuttingDown() const {
  const MutexLock lock(mutex_);
  return shuttingDown_;
}

void EngineState::stopForGood() {
  const MutexLock lock(mutex_);
  shuttingDown_ = true;
}

void EngineState::close() {
  const MutexLock lock(mutex_);
  std::vector<Attachment>().swap(attachments_);
  std::string().swap(baseFolder_);
  categories_ = {};
}

EngineState::PullThread* EngineState::ownPull() {
  const auto own =
      std::find_if(pulls_.begin(), pulls_.end(), [](const PullThread& pull) { return pull.thread.isCurrent(); });
  return own == pulls_.end() ? nullptr : &*own;
}

bool EngineState::isAnyPull(Phase phase) const {
  return std::any_of(pulls_.begin(), pulls_.end(), [&](const PullThread& pull) { return pull.phase == phase; });
}

std::list<EngineState::PullThread> EngineState::takeEndedPulls() {
  std::list<PullThread> ended;
  for (auto pull = pulls_.begin(); pull != pulls_.end();) {
    const auto next = std::next(pull);
    if (pull->phase == Phase::Ended) ended.splice(ended.end(), pulls_, pull);
    pull = next;
  }
  return ended;
}

void EngineState::join(std::list<PullThread> pulls) {
  for (PullThread& pull : pulls) {
    pull.thread.join();
    // At the end this code may be what the last reference keeps mapped.
    if (isShuttingDown()) pull.module.keepForGood();
  }
}

}  // namespace quillmoria
