#include "quillmoria/Version.h"

#include "platform/LibraryVersions.h"
#include "xml/LibraryVersion.h"

namespace quillmoria {

std::string Version() { return kVersion; }

std::string LibraryVersions() {
  return xmlLibraryVersion() + ", " + transportLibraryVersion() + ", " + pictureLibraryVersion();
}

}  // namespace quillmoria
