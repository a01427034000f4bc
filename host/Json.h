#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OwnFeeds.h"
#include "quillmoria/FindFeeds.h"
#include "quillmoria/NewsArchive.h"
#include "quillmoria/OPML.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// One line of JSON in ASCII: the feed that was subscribed to and what came of it. Times are seconds since 1970-01-01
/// 00:00 UTC, or null; in details null stands for whatever is unknown. Bytes that are not UTF-8 become U+FFFD;
/// addresses have no user information.
std::string feedAsJson(const RSSObject::NewsFeed& feed, const RSSObject& news);

/// One line of JSON in ASCII: an outline of a subscription list, `level` outlines deep.
std::string outlineAsJson(const OPMLDoc::OutlineStruct& outline, std::size_t level);

/// One line of JSON in ASCII: a feed that a page offers.
std::string foundFeedAsJson(const FoundFeed& feed);

/// One line of JSON in ASCII: an item of the archive with its feed; the item's own members are those of a pull's.
std::string archivedItemAsJson(const ArchivedItem& archived);

/// What the archive command has to say.
struct ArchiveReport {
  ArchiveStatistics statistics;
  ArchiveRetention retention;
  std::optional<std::vector<std::string>> problems;  ///< found by a check, if there was one
  std::optional<ArchiveRepair> repair;               ///< that has been done
};

/// One line of JSON in ASCII.
std::string archiveReportAsJson(const ArchiveReport& report);

/// One line of JSON in ASCII: a feed of the user's own subscriptions, and what the archive knows of it, if anything.
std::string subscriptionAsJson(const OwnFeed& feed, const ArchivedFeed* known);

}  // namespace quillmoria
