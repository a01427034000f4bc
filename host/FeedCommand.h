#pragma once

#include "Command.h"

namespace quillmoria {

/// `feed`: fetches one feed and shows it.
Command addFeed(CLI::App& app);

}  // namespace quillmoria
