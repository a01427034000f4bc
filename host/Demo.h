#pragma once

#include <string>

#include "Output.h"

namespace quillmoria {

/// Shows the engine at work on samples that a server in this process serves: reads their subscription list, pulls twice
/// (all new, then all seen) and once offline, and checks that all came as it should. Leaves nothing behind; its base
/// folder is made in `parentFolder`, or among the temporary files if that is empty. Returns the exit status.
/// Throws Failure.
int demoCommand(const std::string& parentFolder, Output& output);

}  // namespace quillmoria
