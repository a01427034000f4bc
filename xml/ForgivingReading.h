#pragma once

#include <string_view>

#include "xml/XmlParser.h"

namespace quillmoria {

/// A handler that can be told a document anew.
class RestartableXmlHandler : public XmlHandler {
 public:
  /// Forgets what it was told so far.
  virtual void restart() = 0;

  /// The document breaks off here: the ends of elements that are told from now on do not stand in it, so that what they
  /// end is incomplete.
  virtual void cutOff() {}

 protected:
  ~RestartableXmlHandler() = default;
};

/// What reading a document has come to.
struct ForgivingReading {
  bool hasRoot = false;      ///< there was an element
  bool wasRepaired = false;  ///< the document is not well-formed, HTML's named references aside, or goes beyond a limit
};

/// Tells `handler` the XML document `text`, in UTF-8 whatever it declares. A document with a fault is told again from
/// its beginning as it was probably meant (see mendXml). HTML's named references are known without a declaration. What
/// follows the root element does not count. One that goes beyond `limits` ends there, in the first telling or the
/// second. `text` has no characters that XML forbids. Throws what the handler throws, and std::bad_alloc.
ForgivingReading readForgivingly(std::string_view text, RestartableXmlHandler& handler, const XmlLimits& limits = {});

}  // namespace quillmoria
