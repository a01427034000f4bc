#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Whether a fetch goes by what earlier ones have left.
enum class FetchMode {
  Alone,   ///< no: it asks unconditionally
  InPull,  ///< yes, and what it finds out is for settling
};

/// What a fetch goes by.
struct FetchPlace {
  std::string baseFolder;
  std::uint64_t pull = 0;  ///< WebState::beginPull
  FetchMode mode = FetchMode::Alone;
};

/// The object of `feed`, from its server, or from its cache file where that holds the same or the server is not asked;
/// it has ModernDetails. Any thread. Throws std::bad_alloc where there is no memory even for a failure.
std::unique_ptr<RSSObject> fetchObject(const FetchPlace& place, const RSSObject::NewsFeed& feed,
                                       const std::string& sourceNote);

/// The object of `feed` without the network.
std::unique_ptr<RSSObject> storedObject(const std::string& baseFolder, const RSSObject::NewsFeed& feed);

/// What the process remembers of a feed is found by: its base folder and its address without user name and password.
/// Empty for what is no web address.
std::string memoryKey(const std::string& baseFolder, const std::string& url);

}  // namespace quillmoria
