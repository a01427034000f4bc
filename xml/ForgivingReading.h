#pragma once

#include <string_view>

#include "xml/XmlParser.h"

namespace quillmoria {

/// A handler that can be told a document anew.
class RestartableXmlHandler : public XmlHandler {
 public:
  /// Forgets what it was told so far.
  virtual void restart() = 0;

 protected:
  ~RestartableXmlHandler() = default;
};

/// What reading a document has come to.
struct ForgivingReading {
  bool hasRoot = false;      ///< there was an element
  bool wasRepaired = false;  ///< the document is not well-formed
};

/// Tells `handler` the XML document `text`, in UTF-8 whatever it declares. A document with a fault is told again from
/// its beginning as it was probably meant: references and `<` that are none are text, attributes get their quotes, end
/// tags that lack are there and those too many are not, HTML's empty elements are empty; one that was cut off ends
/// where it breaks off. HTML's named references are known without a declaration. What follows the root element does not
/// count. Takes time in proportion to the text. Throws what the handler throws, and std::bad_alloc.
ForgivingReading readForgivingly(std::string_view text, RestartableXmlHandler& handler, const XmlLimits& limits = {});

}  // namespace quillmoria
