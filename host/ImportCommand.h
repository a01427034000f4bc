#pragma once

#include "Command.h"

namespace quillmoria {

/// `import`: subscribes to what a list names and is not there yet.
Command addImport(CLI::App& app);

}  // namespace quillmoria
