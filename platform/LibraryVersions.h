#pragma once

#include <string>

namespace quillmoria {

// The libraries under the platform layer with the versions that are loaded: "libcurl 7.88.1".

std::string transportLibraryVersion();
std::string pictureLibraryVersion();

}  // namespace quillmoria
