#pragma once

#include "Command.h"

namespace quillmoria {

/// `show`: items of the archive as text, which makes them read.
Command addShow(CLI::App& app);

}  // namespace quillmoria
