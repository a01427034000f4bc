#pragma once

#include <cstdint>
#include <memory>

#include "modern/archive/Database.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// The last document of `feed` that had items, each with `status`. However many these are, it takes four queries.
std::unique_ptr<RSSObject> readDocument(Database& archive, std::int64_t feed, ItemStatus status);

}  // namespace quillmoria
