#pragma once

#include "Command.h"

namespace quillmoria {

/// `news`: lists items of the archive, the newest first.
Command addNews(CLI::App& app);

/// `search`: those that have the words.
Command addSearch(CLI::App& app);

}  // namespace quillmoria
