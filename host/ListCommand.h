#pragma once

#include "Command.h"

namespace quillmoria {

/// `list`: shows what is subscribed to, by category.
Command addList(CLI::App& app);

}  // namespace quillmoria
