#pragma once

#include <memory>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Where a pull has its feed objects from, and where they are kept: all that differs between one way of reading the web
/// and another. A pull knows the order of things, the subscriber and the stop checks.
class NewsSource {
 public:
  virtual ~NewsSource() = default;

  /// The feed from its server; a failure is told by the object. Any thread, also several at once. Throws
  /// std::bad_alloc where there is no memory even for a failure.
  virtual std::unique_ptr<RSSObject> fetch(const RSSObject::NewsFeed& feed) = 0;

  /// The feed as it was kept last, for a machine without network. On the pull's thread.
  virtual std::unique_ptr<RSSObject> fromStore(const RSSObject::NewsFeed& feed) = 0;

  /// Whether a pull of what is due is to have the feed. Any thread.
  virtual bool isDue(const RSSObject::NewsFeed& feed) const = 0;

  /// Compares what fetch has given with what was kept before, and keeps it. On the pull's thread, in the order of the
  /// deliveries. Never throws: what could not be kept says so itself.
  virtual void settle(RSSObject& news) noexcept = 0;
};

}  // namespace quillmoria
