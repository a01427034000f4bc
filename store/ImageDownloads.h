#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "platform/FolderUse.h"
#include "platform/ModuleObject.h"
#include "platform/Mutex.h"

namespace quillmoria {

/// The image files that threads are at, so that an image is downloaded once however many want it at the same time, and
/// none reads what another has written half; and what the image folders hold, which is bounded.
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

  /// Takes into account that the image folder at `path` has one more file, of `bytes`. Beyond 256 MiB or 16,384 files
  /// the images that were used longest ago are removed, down to three quarters of that. The folder is looked through at
  /// its first file of the process, and whenever it seems to be beyond; what other processes do is found then.
  static void count(const std::string& path, std::uint64_t bytes);

  /// Releases what is held but by claims.
  void close();

 private:
  Mutex mutex_;
  ConditionVariable released_;
  std::set<std::string> paths_ GUARDED_BY(mutex_);

  Mutex usesMutex_;
  std::map<std::string, FolderUse> uses_ GUARDED_BY(usesMutex_);
};

extern ModuleObject<ImageDownloads> imageDownloads;

}  // namespace quillmoria
