#include "Fuzzing.h"
#include "modern/reading/Encoding.h"
#include "support/XmlEvents.h"
#include "xml/XmlMender.h"

using namespace quillmoria;

namespace {

/// Whether mending means anything else by a well-formed document: C1 characters, items inside of items, and so on.
bool isReadAlike(const std::string& text) {
  for (const char* part : {"<!", "\xC2", "item",  "entry", "area",  "base",  "br", "col", "embed", "frame",
                           "hr", "img",  "input", "meta",  "param", "track", "BR", "Br",  "bR",    "&#"}) {
    if (text.find(part) != std::string::npos) return false;
  }
  return true;
}

bool isAscii(const std::string& text) {
  for (const char c : text) {
    if (static_cast<signed char>(c) < 0) return false;
  }
  return true;
}

}  // namespace

/// Mended text is well-formed, and no longer than it says; a well-formed document is told as without mending.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = textOf(data, size);
  const DecodedText decoded = decodeDocument(input, "text/xml; charset=utf-8");
  const std::string text(decoded.text);
  const MendedXml mended = mendXml(text);
  require(mended.text.size() + mended.missingEnds.size() <= 12 * text.size());

  XmlEvents lenient;
  const std::string whole = mended.text + mended.missingEnds;
  const XmlEnding ending = XmlParser(lenient, {}, XmlEncoding::Utf8).parseToEnd(whole);
  require(whole.empty() || ending == XmlEnding::Sound || ending == XmlEnding::Stopped);

  XmlEvents strict;
  const bool isSound = XmlParser(strict, {}, XmlEncoding::Utf8).parseToEnd(text) == XmlEnding::Sound;
  if (isSound && isAscii(text) && isReadAlike(text)) require(strict.text == lenient.text);

  XmlEvents forgiving;
  readForgivingly(text, forgiving);
  if (isSound) require(forgiving.text == strict.text);
  return 0;
}
