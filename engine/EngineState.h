#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "engine/PullSettings.h"
#include "platform/CMutex.h"
#include "platform/ModuleObject.h"
#include "platform/ModuleReference.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"
#include "quillmoria/NewsServer.h"

namespace quillmoria {

/// The engine's state: one for all news servers, which are handles on it. Any thread may make any call.
class EngineState {
 public:
  /// `shutDown` is asked for at the end of the process once the first pull has been started.
  explicit EngineState(void (*shutDown)());

  // What is subscribed.
  void setCategories(RSSObject::CategoryHolderStruct categories);
  void setUp(RSSObject::CategoryHolderStruct categories, std::string baseFolder);
  RSSObject::CategoryHolderStruct categories() const;
  std::string baseFolder() const;

  void setFetchLimits(FetchLimits limits);
  void setProfile(Profile profile);
  void setPullScope(PullScope scope);
  Profile profile() const;

  /// What a pull that begins now is to go by.
  PullSettings pullSettings() const;

  // Who listens.
  void attach(RSSSubscriber* subscriber);
  void detach(const RSSSubscriber* subscriber);

  /// Calls `call` for each attached subscriber, or only for the entries equal to `only`, in the order of attachment.
  /// Looks at the list again before each call, so that one detached meanwhile is left out; one attached meanwhile is,
  /// too.
  void forEachAttached(const RSSSubscriber* only, const std::function<void(RSSSubscriber&)>& call) const;

  // Pulls and their threads.

  /// Starts a thread on `pull`, a function that calls beginPull first and endPull last. If the system gives none, or
  /// the process is ending, nothing happens.
  void startPull(void (*pull)(void*), RSSSubscriber* subscriber);

  /// From a pull's thread: it has begun, and then takes the pull lock.
  void beginPull() ACQUIRE(pullLock_);

  /// From a pull's thread, which holds the pull lock: gives it back and drops a stop request that came too late.
  void endPull() noexcept RELEASE(pullLock_);

  /// Waits up to `milliseconds` (below 0: without limit) until all pulls have ended; false if some have not, and at
  /// once from a pull's thread.
  bool waitForPulls(std::int32_t milliseconds);

  /// Asks the pull that holds the lock, or else the next one, to stop, if any has begun and not ended.
  void requestStop();

  bool isStopRequested() const;

  /// As isStopRequested, and takes the request back: the caller honours it.
  bool takeStopRequest();

  /// True once the process ends or the library is unloaded: no more events, no more pulls.
  bool isShuttingDown() const;

  /// Lets no pull start any more and no running one go on beyond its next step.
  void stopForGood();

  /// After stopForGood, and once no pull is left: releases what is held.
  void close();

  std::atomic<bool> offline = false;  ///< feeds come from the cache instead of the network

 private:
  struct Attachment {
    std::uint64_t serial;
    RSSSubscriber* subscriber;
  };
  enum class Phase { Requested, Begun, Ended };
  struct PullThread {
    Thread thread;
    ModuleReference module;  ///< the thread's code stays mapped until the thread has been joined
    Phase phase = Phase::Requested;
  };

  std::uint64_t lastSerial() const;
  RSSSubscriber* nextAttached(std::uint64_t& serial, std::uint64_t last, const RSSSubscriber* only) const;
  PullThread* ownPull() REQUIRES(mutex_);
  bool isAnyPull(Phase phase) const REQUIRES(mutex_);
  std::list<PullThread> takeEndedPulls() REQUIRES(mutex_);
  void join(std::list<PullThread> pulls);

  void (*const shutDown_)();

  mutable Mutex mutex_;  ///< never held while a host's code runs
  std::vector<Attachment> attachments_ GUARDED_BY(mutex_);
  std::uint64_t lastSerial_ GUARDED_BY(mutex_) = 0;
  RSSObject::CategoryHolderStruct categories_ GUARDED_BY(mutex_);
  std::string baseFolder_ GUARDED_BY(mutex_);
  FetchLimits fetchLimits_ GUARDED_BY(mutex_);
  Profile profile_ GUARDED_BY(mutex_) = Profile::Classic;
  PullScope pullScope_ GUARDED_BY(mutex_) = PullScope::All;
  bool hasExitHandler_ GUARDED_BY(mutex_) = false;
  std::list<PullThread> pulls_ GUARDED_BY(mutex_);
  ConditionVariable pullEnded_;
  bool stopRequested_ GUARDED_BY(mutex_) = false;
  bool shuttingDown_ GUARDED_BY(mutex_) = false;

  CMutex pullLock_;  ///< held by a pull from its first event to its last

 public:
  // The prepared events. Compatibility: 5 to 9 are none. Every delivery passes a copy; the message of categoryStarted
  // is guarded by the pull lock.
  RSSEvent feedLoading{kFeedLoading};
  RSSEvent feedLoaded{kFeedLoaded};
  RSSEvent newsDelivered{kNewsDelivered};
  RSSEvent categoryStarted{kCategoryStarted};
  RSSEvent categoryFinished{kCategoryFinished};
  RSSEvent pullStarted{kPullStarted};
  RSSEvent pullFinished{kPullFinished};
  RSSEvent pullFinishedOffline{kPullFinishedOffline};
};

extern ModuleObject<EngineState> engineState;

}  // namespace quillmoria
