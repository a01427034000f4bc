#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "modern/archive/Database.h"
#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// The feeds that are subscribed, by category and name, with their counts.
std::vector<ArchivedFeed> readFeeds(Database& archive);

/// The feed known by `url`, an address as a user writes it.
std::optional<std::int64_t> findFeed(Database& archive, std::string_view url);

/// Takes away the oldest items of the feed that are not starred, as many as take a moment, and after the last of them
/// the feed: with starred items its address, name and category stay, and it counts as not subscribed. True once that is
/// done. To be done in a transaction.
bool removePartOfFeed(Database& archive, std::int64_t feed);

}  // namespace quillmoria
