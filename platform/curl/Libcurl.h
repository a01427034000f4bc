#pragma once

#include <atomic>
#include <utility>

#include "platform/Mutex.h"

namespace quillmoria {

/// libcurl, once in a process: set up by the first request, left for good when the process ends or the library is
/// unloaded. What libcurl is built on is torn down then, so whoever is still at a transfer is cut off and waited for,
/// and from then on nobody calls libcurl, not even to clean up.
class Libcurl {
 public:
  /// A stay in libcurl. While there is one, what libcurl is built on stands.
  class Stay {
   public:
    explicit Stay(Libcurl* where) : where_(where) {}
    Stay(Stay&& other) noexcept : where_(std::exchange(other.where_, nullptr)) {}
    Stay& operator=(Stay&&) = delete;
    ~Stay() {
      if (where_) where_->leave();
    }

    /// False once libcurl has been left for good: it must not be called.
    explicit operator bool() const { return where_ != nullptr; }

   private:
    Libcurl* where_;
  };

  constexpr Libcurl() = default;

  /// Sets libcurl up if it is not, and asks for `atExit` to be called when the process ends. Throws CInternetException.
  void setUp(void (*atExit)());

  /// Every call of libcurl that works on handles is made within a stay. Any thread.
  Stay enter() noexcept;

  /// As enter, but throws CInternetException once libcurl has been left for good.
  Stay enterOrThrow();

  /// Lets nobody in any more and waits until nobody stays.
  void leaveForGood();

  /// Gives back what setUp has set up. No handle is left, and nobody stays.
  void tearDown();

  /// For the module's next load.
  void reopen() { isClosed_ = false; }

 private:
  void leave() noexcept;

  Mutex mutex_;  ///< held while libcurl is set up
  bool isSetUp_ GUARDED_BY(mutex_) = false;
  std::atomic<int> stays_ = 0;
  std::atomic<bool> isClosed_ = false;
};

extern Libcurl libcurl;

}  // namespace quillmoria
