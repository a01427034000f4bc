#pragma once

#include "Command.h"

namespace quillmoria {

/// `archive`: figures of the archive, its check and repair, and what it keeps.
Command addArchive(CLI::App& app);

}  // namespace quillmoria
