#pragma once

#include "Command.h"

namespace quillmoria {

/// `remove`: ends a subscription and forgets the feed.
Command addRemove(CLI::App& app);

}  // namespace quillmoria
