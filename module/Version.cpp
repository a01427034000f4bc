#include "quillmoria/Version.h"

#include <expat.h>

#include "platform/LibraryVersions.h"

namespace quillmoria {

std::string Version() { return kVersion; }

std::string LibraryVersions() {
  const XML_Expat_Version expat = XML_ExpatVersionInfo();
  return "expat " + std::to_string(expat.major) + "." + std::to_string(expat.minor) + "." +
         std::to_string(expat.micro) + ", " + transportLibraryVersion() + ", " + pictureLibraryVersion();
}

}  // namespace quillmoria
