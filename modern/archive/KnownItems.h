#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "modern/archive/Database.h"
#include "modern/archive/ItemKeys.h"
#include "quillmoria/CTime.h"

namespace quillmoria {

/// What the archive has of an item of a document.
struct KnownItem {
  bool isKnown = false;     ///< it has been seen before
  std::int64_t moment = 0;  ///< the row that it is in; 0 if it has none yet
  std::int64_t id = 0;
  std::int64_t content = 0;  ///< ItemKeys as they were then; 0: not known
  std::int64_t record = 0;
  CTime firstSeen;
  std::optional<std::int64_t> place;
};

/// Finds the items of a document, which have `keys`, among those of `feed`. Each row is the row of one item at most.
/// An item is known if the archive has its key with its link, or if its key stands once in the document and once in the
/// archive. Linear in the size of the document.
std::vector<KnownItem> findKnownItems(Database& archive, std::int64_t feed, std::span<const ItemKeys> keys);

}  // namespace quillmoria
