#pragma once

#include "Command.h"

namespace quillmoria {

/// `mark`: items of the archive as read or unread, with a star or without.
Command addMark(CLI::App& app);

}  // namespace quillmoria
