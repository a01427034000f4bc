#pragma once

#include <mutex>

/// A mutex that nobody owns at first. Not recursive. Unlock belongs to the thread that locked.
class CMutex {
 public:
  void Lock() { mutex_.lock(); }
  void Unlock() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};
