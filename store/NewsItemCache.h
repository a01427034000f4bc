#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "quillmoria/RSSObject.h"

/// One subscribed feed's last known state, in one file under the base folder's `cache`.
///
///     NewsItemCache cache;
///     std::unique_ptr<RSSObject> last(cache.LoadFeed(NewsItemCache::filePath(baseFolder, feed.name)));
///     if (last->itemCount < 0) complain(last->statusMessage);  // never stored, or not readable
///
/// Holds nothing between calls. One thread at a time stores; the pull lock sees to that. Any thread may read.
class NewsItemCache {
 public:
  virtual ~NewsItemCache();

  /// The path of the file that keeps the feed called `feedName`: characters that file names cannot hold everywhere
  /// become underscores; a slash stays and means a subfolder.
  static std::string filePath(const std::string& baseFolder, std::string_view feedName);

  /// Replaces the feed's file by `feed`'s channel and items in format `version` (4 is current), with `sourceNote`.
  /// Returns 1 once the file is complete and in place, 0 if it could not be written; the previous file is then still
  /// whole.
  std::int32_t StoreFeed(std::string baseFolder, const RSSObject* feed, std::int32_t version, std::string sourceNote);

  /// Reads the file at `path` into a new object, which the caller owns. A file that is missing, empty, cut off or
  /// impossible gives an object with the item count -1 and the status kStatusNotCached, never null.
  RSSObject* LoadFeed(std::string path);

  /// As LoadFeed, but throws std::bad_alloc and std::system_error where memory or descriptors lack, so that a file that
  /// could not be looked at is not taken for one that is missing.
  static std::unique_ptr<RSSObject> ReadFeed(const std::string& path);
};
