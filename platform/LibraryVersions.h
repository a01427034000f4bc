#pragma once

#include <string>

namespace quillmoria {

/// The libraries under the platform layer with the versions that are loaded: "libcurl 7.88.1, gdk-pixbuf 2.42.10".
std::string platformLibraryVersions();

}  // namespace quillmoria
