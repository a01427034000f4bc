#pragma once

#include "Command.h"

namespace quillmoria {

/// `pull`: one pull, which shows progress and the news by category as they come.
Command addPull(CLI::App& app);

}  // namespace quillmoria
