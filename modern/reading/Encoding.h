#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// A document in UTF-8, well-formed and without characters that XML forbids. May be moved, but not copied.
struct DecodedText {
  std::string_view text;  ///< the document's own bytes where they are that already, else `converted`'s
  std::string converted;
  bool wasMended = false;  ///< bytes or characters that may not be there were changed or dropped
};

/// The characters of `document`, which came with the HTTP header's `contentType`: by its byte order mark, the header's
/// charset, the XML declaration, else UTF-8; names of character sets mean what the WHATWG encoding standard says. One
/// that is unknown, or that the bytes cannot be in, is passed over. A byte that is no UTF-8 where that is claimed is
/// read as windows-1252. White space before the document is left out, and what else stands before its XML declaration
/// or its first
/// `<`, unless it is JSON. `document` must outlive the result. Linear. Throws std::bad_alloc.
DecodedText decodeDocument(std::string_view document, std::string_view contentType);

}  // namespace quillmoria
