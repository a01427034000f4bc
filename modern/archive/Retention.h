#pragma once

#include <cstdint>

#include "modern/archive/Database.h"
#include "quillmoria/CTime.h"

namespace quillmoria {

/// Removes the items of `feed` that are not to be kept: see ArchiveRetention. Within a transaction.
void forgetItems(Database& archive, std::int64_t feed, CTime now);

}  // namespace quillmoria
