#pragma once

#include <cstdint>
#include <vector>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// What tells an item from others, and one of its states from another.
struct ItemKeys {
  std::int64_t key = 0;      ///< of its identifier; of its link without one; of title, dates and text without either
  std::int64_t link = 0;     ///< of its link
  std::int64_t content = 0;  ///< of its title and text
  std::int64_t record = 0;   ///< of all that is kept of it
};

/// The keys of the items of `news`, which has details, in their order. Nobody can make two items whose keys are the
/// same.
std::vector<ItemKeys> keysOf(RSSObject& news);

}  // namespace quillmoria
