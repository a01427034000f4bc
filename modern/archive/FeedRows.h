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

/// Takes away all of the feed but its starred items; with these its address, name and category stay, and it counts as
/// not subscribed. To be done in a transaction.
void removeFeed(Database& archive, std::int64_t feed);

}  // namespace quillmoria
