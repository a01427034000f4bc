#pragma once

#include <string>

#include "Output.h"
#include "quillmoria/Profile.h"

namespace quillmoria {

/// Shows the engine at work on samples that a server in this process serves, by the classic rules and then, unless
/// these were asked for, by the modern ones, and checks that all came as it should. Leaves nothing behind; its base
/// folder is made in `parentFolder`, or among the temporary files if that is empty. Returns the exit status. Throws
/// Failure.
int demoCommand(Profile profile, const std::string& parentFolder, Output& output);

}  // namespace quillmoria
