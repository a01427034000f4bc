#pragma once

#include <string>

#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// NewsArchive::Repair.
ArchiveRepair repairArchive(const std::string& baseFolder);

}  // namespace quillmoria
