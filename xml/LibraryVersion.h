#pragma once

#include <string>

namespace quillmoria {

/// The library under the XML layer with the version that is loaded: "expat 2.5.0".
std::string xmlLibraryVersion();

}  // namespace quillmoria
