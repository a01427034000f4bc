#pragma once

#include <cstdint>
#include <string>

#include "quillmoria/NewsServer.h"
#include "quillmoria/Profile.h"
#include "quillmoria/RSSObject.h"
#include "records/NewsSource.h"

namespace quillmoria {

/// How much a pull fetches at once.
struct FetchLimits {
  std::int32_t feeds = 1;    ///< in all; 1 is one feed after the other
  std::int32_t perHost = 2;  ///< from one host and port
};

/// What a pull looks at once, when it begins. The offline mode, the count of the categories and, in the classic
/// profile, the base folder may change meanwhile and are read where they are used.
struct PullSettings {
  RSSObject::CategoryHolderStruct categories;
  FetchLimits fetchLimits;
  Profile profile = Profile::Classic;
  PullScope scope = PullScope::All;
  std::string baseFolder;

  /// Whether the pull goes over `feed`, which it has from `source`.
  bool wants(const RSSObject::NewsFeed& feed, const NewsSource& source) const {
    // Compatibility.
    return feed.enabled == 1 && (scope == PullScope::All || source.isDue(feed));
  }
};

}  // namespace quillmoria
