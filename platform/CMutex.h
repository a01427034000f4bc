#pragma once

#include "platform/Mutex.h"

/// A mutex that nobody owns at first. Not recursive. Unlock belongs to the thread that locked.
class CAPABILITY("mutex") CMutex {
 public:
  void Lock() ACQUIRE() { mutex_.lock(); }
  void Unlock() RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};
