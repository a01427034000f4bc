#include "xml/LibraryVersion.h"

#include <expat.h>

namespace quillmoria {

std::string xmlLibraryVersion() {
  const XML_Expat_Version expat = XML_ExpatVersionInfo();
  return "expat " + std::to_string(expat.major) + "." + std::to_string(expat.minor) + "." + std::to_string(expat.micro);
}

}  // namespace quillmoria
