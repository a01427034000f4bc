#pragma once

#include <string>
#include <vector>

#include "modern/archive/Database.h"

namespace quillmoria {

/// What is wrong with `archive`, read whole; nothing if all is well. Throws ArchiveError where it cannot be told.
std::vector<std::string> checkArchive(Database& archive);

}  // namespace quillmoria
