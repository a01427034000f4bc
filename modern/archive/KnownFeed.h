#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "modern/archive/Database.h"
#include "modern/web/FeedFacts.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// A feed of the archive.
struct KnownFeed {
  std::int64_t id = 0;  ///< 0: the archive does not know it
  FeedFacts facts;
};

/// The feed that is known by the address `key` (WebAddress::key).
KnownFeed readKnownFeed(Database& archive, std::string_view key);

/// A new feed that is known by `key`. Returns its number.
std::int64_t makeFeed(Database& archive, const std::string& key);

/// Keeps what a pull has found out about the feed called `id`, `facts`, and what it has told of it, `news`; the host
/// subscribes to it at `key`.
void keepFacts(Database& archive, std::int64_t id, const std::string& key, const FeedFacts& facts, RSSObject& news);

/// Makes `url` one more address of the feed, unless it is one of another feed.
void addAddress(Database& archive, std::int64_t id, const std::string& url);

/// Keeps the header of the feed's document.
void keepChannel(Database& archive, std::int64_t id, RSSObject& news);

/// Fills the header of `news`, which has details.
void readChannel(Database& archive, std::int64_t id, RSSObject& news);

}  // namespace quillmoria
