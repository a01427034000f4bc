#include "xml/ForgivingReading.h"

namespace quillmoria {

ForgivingReading readForgivingly(std::string_view text, RestartableXmlHandler& handler, const XmlLimits& limits) {
  XmlParser(handler, limits).parse(text);
  return {true, false};
}

}  // namespace quillmoria
