#pragma once

#include <set>
#include <string>

#include "platform/ModuleObject.h"
#include "platform/Mutex.h"

namespace quillmoria {

/// The image files that threads are at, so that an image is downloaded once however many want it at the same time, and
/// none reads what another has written half.
class ImageDownloads {
 public:
  /// Keeps the file at `path` for the calling thread as long as it lives; waits until no other thread has it.
  class Claim {
   public:
    explicit Claim(const std::string& path);
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    ~Claim();

   private:
    std::set<std::string>::iterator path_;
  };

 private:
  Mutex mutex_;
  ConditionVariable released_;
  std::set<std::string> paths_ GUARDED_BY(mutex_);
};

extern ModuleObject<ImageDownloads> imageDownloads;

}  // namespace quillmoria
