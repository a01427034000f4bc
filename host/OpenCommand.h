#pragma once

#include "Command.h"

namespace quillmoria {

/// `open`: items of the archive in the browser, which makes them read.
Command addOpen(CLI::App& app);

}  // namespace quillmoria
