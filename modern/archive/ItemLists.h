#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "modern/archive/Database.h"
#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// Which items a list has. Moments are the primary key of `items`.
struct ItemFilter {
  std::optional<std::vector<std::int64_t>> feeds;  ///< of these alone, each once
  std::optional<bool> isRead;
  std::optional<bool> isStarred;
  std::int64_t from = INT64_MIN;      ///< the first moment
  std::int64_t before = INT64_MAX;    ///< the moment after the last
  std::optional<std::string> search;  ///< an expression of FTS5, not empty
};

/// What `query` asks for; nothing where it can have no items.
std::optional<ItemFilter> filterOf(Database& archive, const ItemQuery& query);

/// The moments of the newest `limit` items, the newest first. Takes time in proportion to `limit` and to the feeds, but
/// for searches that most matches are not wanted of.
std::vector<std::int64_t> newestMoments(Database& archive, const ItemFilter& filter, std::size_t limit);

/// The moments of all, in no order.
std::vector<std::int64_t> allMoments(Database& archive, const ItemFilter& filter);

}  // namespace quillmoria
