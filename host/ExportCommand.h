#pragma once

#include "Command.h"

namespace quillmoria {

/// `export`: writes the subscriptions as a list for other readers.
Command addExport(CLI::App& app);

}  // namespace quillmoria
