#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// What a compiler that checks locks is told: which mutex a member is guarded by, and which one a function needs, takes
// or gives back.
#ifdef __clang__
#define QUILLMORIA_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define QUILLMORIA_THREAD_ATTRIBUTE(attribute)
#endif
#define CAPABILITY(name) QUILLMORIA_THREAD_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY QUILLMORIA_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(mutex) QUILLMORIA_THREAD_ATTRIBUTE(guarded_by(mutex))
#define REQUIRES(mutex) QUILLMORIA_THREAD_ATTRIBUTE(requires_capability(mutex))
#define ACQUIRE(...) QUILLMORIA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QUILLMORIA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace quillmoria {

/// A std::mutex that the compiler can check. Constant-initialised and trivially destroyed.
class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  friend class ConditionVariable;
  std::mutex mutex_;
};

/// Holds a mutex to the end of the scope.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() RELEASE() { mutex_.unlock(); }

 private:
  Mutex& mutex_;
};

/// A std::condition_variable for Mutex. A wait may return without a reason: it stands in a loop.
class ConditionVariable {
 public:
  void wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }

  /// False once the time is `end`.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point end) REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    const bool isInTime = condition_.wait_until(lock, end) == std::cv_status::no_timeout;
    lock.release();
    return isInTime;
  }

  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace quillmoria
