#pragma once

#include "Command.h"

namespace quillmoria {

/// `find`: shows the feeds of a page, a line each.
Command addFind(CLI::App& app);

}  // namespace quillmoria
