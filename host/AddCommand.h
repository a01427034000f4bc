#pragma once

#include "Command.h"

namespace quillmoria {

/// `add`: finds the feed of an address, subscribes to it and pulls it.
Command addAdd(CLI::App& app);

}  // namespace quillmoria
