#include "xml/ForgivingReading.h"

#include "xml/XmlMender.h"

namespace quillmoria {

ForgivingReading readForgivingly(std::string_view text, RestartableXmlHandler& handler, const XmlLimits& limits) {
  XmlParser strict(handler, limits, XmlEncoding::Utf8);
  const XmlEnding ending = strict.parseToEnd(text);
  if (ending == XmlEnding::Sound || ending == XmlEnding::Stopped) {
    return {strict.hasRoot(), ending == XmlEnding::Stopped};
  }
  if (ending == XmlEnding::FaultBehindRoot) return {true, true};

  handler.restart();
  const MendedXml mended = mendXml(text);
  XmlParser lenient(handler, limits, XmlEncoding::Utf8);
  lenient.parse(mended.text);
  if (!mended.missingEnds.empty() && lenient.isReading()) {
    handler.cutOff();
    lenient.parse(mended.missingEnds);
  }
  return {lenient.hasRoot(), mended.wasMended || ending == XmlEnding::Fault};
}

}  // namespace quillmoria
