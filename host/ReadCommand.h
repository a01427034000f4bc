#pragma once

#include "Command.h"

namespace quillmoria {

/// The command "read": serves the page on which news are read, until Ctrl-C.
Command addRead(CLI::App& app);

}  // namespace quillmoria
