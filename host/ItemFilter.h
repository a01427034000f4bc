#pragma once

#include <string>
#include <vector>

#include "quillmoria/NewsArchive.h"

namespace CLI {
class App;
}

namespace quillmoria {

/// Which items of the archive a user wants, as typed.
struct ItemFilter {
  std::vector<std::string> feeds;       ///< names or addresses
  std::vector<std::string> categories;  ///< each with those below it
  bool onlyUnread = false;
  bool onlyStarred = false;
  std::string since;
};

/// Declares the options that tell the feeds.
void addPlaceOptions(CLI::App& command, ItemFilter& filter);

/// Declares those, and the ones that tell which of their items.
void addFilterOptions(CLI::App& command, ItemFilter& filter);

/// What `filter` means in `archive`. Throws Failure for what is unknown there.
ItemQuery queryOf(const ItemFilter& filter, NewsArchive& archive);

}  // namespace quillmoria
