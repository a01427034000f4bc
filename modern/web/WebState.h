#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "modern/web/FeedMemory.h"
#include "modern/web/RateLimits.h"
#include "net/SharedSession.h"
#include "platform/ModuleObject.h"
#include "platform/Mutex.h"

namespace quillmoria {

/// What is remembered of a picture that was asked for.
struct PictureFacts {
  Validators validators;
  std::int64_t failedAt = 0;  ///< in seconds since 1970; 0: it has not failed
};

/// What the process remembers of the web from one pull to the next. Any thread may make any call.
class WebState {
 public:
  /// A number for a pull, or for a fetch outside of pulls.
  std::uint64_t beginPull();

  /// The session of the base folder. Throws what makeSession throws.
  std::shared_ptr<const SharedSession> session(const std::string& baseFolder);

  // Servers that have asked for a rest: see RateLimits.
  std::int64_t limitOf(const std::string& origin) const;
  std::int64_t noteRefusal(const std::string& origin, std::int32_t status, std::string_view retryAfter,
                           std::uint64_t pull);
  void noteFeedFrom(const std::string& origin);

  // Feeds, by base folder and subscribed address.
  std::optional<FeedFacts> feed(const std::string& key);
  void keepFeed(const std::string& key, FeedFacts facts);

  // Pictures, by their files' paths.
  std::optional<PictureFacts> picture(const std::string& path);
  void keepPicture(const std::string& path, PictureFacts facts);

  /// Releases what is held.
  void close();

 private:
  mutable Mutex mutex_;  ///< never held over I/O
  std::uint64_t pulls_ GUARDED_BY(mutex_) = 0;
  RateLimits limits_ GUARDED_BY(mutex_);
  RecentValues<FeedFacts> feeds_ GUARDED_BY(mutex_);
  RecentValues<PictureFacts> pictures_ GUARDED_BY(mutex_);

  Mutex setUpMutex_;  ///< held while a settings file is read, so that it is read once
  std::map<std::string, std::shared_ptr<const SharedSession>> sessions_ GUARDED_BY(setUpMutex_);
};

extern ModuleObject<WebState> webState;

}  // namespace quillmoria
