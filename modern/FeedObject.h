#pragma once

#include <memory>
#include <optional>
#include <string>

#include "modern/web/FeedMemory.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// The details of an object of the modern profile, with what settling it takes.
struct ModernDetails : FeedDetails {
  std::string key;  ///< of what is remembered of the feed; empty for an address that is none
  FetchReport report;
};

/// The details that makeDetails has given `news`.
ModernDetails& detailsOf(RSSObject& news);

/// Makes the details that `news` has, if it has any, those of the modern profile.
ModernDetails& makeDetails(RSSObject& news);

/// An object without items, which says `text`.
std::unique_ptr<RSSObject> failedObject(Outcome outcome, std::string text);

/// The feed called `feedName` as its cache file holds it, all items with `status`; an object with the item count -1 if
/// there is none. Throws what NewsItemCache::ReadFeed throws.
std::unique_ptr<RSSObject> cachedObject(const std::string& baseFolder, const std::string& feedName, ItemStatus status);

/// The state of that file; nothing if there is none.
std::optional<FileStamp> cacheStamp(const std::string& baseFolder, const std::string& feedName);

/// Gives `target` all that `source` has.
void moveObject(RSSObject& target, RSSObject& source);

}  // namespace quillmoria
