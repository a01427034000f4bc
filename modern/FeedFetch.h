#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

class FeedArchive;

/// What a fetch goes by.
struct FetchPlace {
  std::string baseFolder;
  std::int64_t pull = 0;           ///< WebState::beginPull
  FeedArchive* archive = nullptr;  ///< what earlier pulls have left; null outside of pulls: it asks unconditionally
};

/// The object of `feed`, from its server, or from the archive where that holds the same or the server is not asked; it
/// has ModernDetails. Any thread. Throws std::bad_alloc where there is no memory even for a failure.
std::unique_ptr<RSSObject> fetchObject(const FetchPlace& place, const RSSObject::NewsFeed& feed,
                                       const std::string& sourceNote);

/// The object of `feed` without the network: from the archive of `place`, which it has, or else from the cache file of
/// the classic profile.
std::unique_ptr<RSSObject> storedObject(const FetchPlace& place, const RSSObject::NewsFeed& feed);

}  // namespace quillmoria
