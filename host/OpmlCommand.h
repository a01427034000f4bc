#pragma once

#include "Command.h"

namespace quillmoria {

/// `opml`: shows the tree of a subscription list.
Command addOpml(CLI::App& app);

}  // namespace quillmoria
