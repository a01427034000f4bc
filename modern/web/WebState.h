#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "modern/web/RateLimits.h"
#include "net/SharedSession.h"
#include "platform/ModuleObject.h"
#include "platform/Mutex.h"

namespace quillmoria {

/// What the process shares of the web. Any thread may make any call.
class WebState {
 public:
  /// A number for a pull, or for a fetch outside of pulls, above all earlier ones, also those of earlier processes
  /// unless the clock was put back.
  std::int64_t beginPull();

  /// The session of the base folder. Throws what makeSession throws.
  std::shared_ptr<const SharedSession> session(const std::string& baseFolder);

  // Servers that have asked for a rest: see RateLimits.
  std::int64_t limitOf(const std::string& origin) const;
  std::int64_t noteRefusal(const std::string& origin, std::int32_t status, std::string_view retryAfter,
                           std::int64_t pull);
  void noteFeedFrom(const std::string& origin);
  void takeOverLimits(const std::vector<RateLimit>& limits);
  std::vector<RateLimit> limitsChangedSince(std::int64_t& after) const;

  /// Releases what is held.
  void close();

 private:
  mutable Mutex mutex_;  ///< never held over I/O
  std::int64_t lastPull_ GUARDED_BY(mutex_) = 0;
  RateLimits limits_ GUARDED_BY(mutex_);

  Mutex setUpMutex_;  ///< held while a settings file is read, so that it is read once
  std::map<std::string, std::shared_ptr<const SharedSession>> sessions_ GUARDED_BY(setUpMutex_);
};

extern ModuleObject<WebState> webState;

}  // namespace quillmoria
