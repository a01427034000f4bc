#pragma once

#include <span>

#include "EmbeddedFile.h"

namespace quillmoria {

/// The files of host/samples, which the demo serves. "@SERVER@" in them stands for the server's address.
std::span<const EmbeddedFile> samples();

}  // namespace quillmoria
