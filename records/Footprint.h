#pragma once

#include <cstddef>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// About how many bytes `news` takes, with its items and its picture. Linear in the number of items.
std::size_t footprint(const RSSObject& news);

}  // namespace quillmoria
