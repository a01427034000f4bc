#pragma once

#include "Command.h"

namespace quillmoria {

/// `demo`: shows the engine at work on samples that a server in this process serves, by the classic rules and then,
/// unless these were asked for, by the modern ones, and checks that all came as it should. Leaves nothing behind; its
/// base folder is made in the one given, or among the temporary files if there is none.
Command addDemo(CLI::App& app);

}  // namespace quillmoria
