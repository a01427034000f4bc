#pragma once

#include <string>

#include "quillmoria/export.h"

namespace quillmoria {

/// The version of these headers. The library that is loaded tells its own by Version().
inline constexpr char kVersion[] = "1.1.0";

/// The version of the loaded library, as "major.minor.patch".
QUILLMORIA_EXPORT std::string Version();

/// The libraries that the engine runs on with their versions, for bug reports: "expat 2.5.0, libcurl 7.88.1, …".
QUILLMORIA_EXPORT std::string LibraryVersions();

}  // namespace quillmoria
