#pragma once

#include <span>

#include "EmbeddedFile.h"

namespace quillmoria {

/// The files of host/reader that browsers get, which are built into the program.
std::span<const EmbeddedFile> readerFiles();

}  // namespace quillmoria
