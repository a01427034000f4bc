#include "xml/XmlParser.h"

#define XML_DTD  // expat declares the bounds of its entity amplification only then
#include <expat.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

namespace quillmoria {
namespace {

constexpr unsigned long long kAmplificationThreshold = 1 << 20;
constexpr std::size_t kPieceBytes = 64 << 10;

// Lest it be read again and again, expat may put off a token that was cut off, also beyond the last piece.
#ifdef QUILLMORIA_EXPAT_DEFERS
constexpr bool kReadsCutTokensAtOnce = true;
void readCutTokensAtOnce(XML_Parser parser) { XML_SetReparseDeferralEnabled(parser, XML_FALSE); }
#else
constexpr bool kReadsCutTokensAtOnce = false;
void readCutTokensAtOnce(XML_Parser) {}
#endif

/// Whether `document` is in UTF-16, where a byte that looks like a line feed may be half of something else.
bool hasWideUnits(std::string_view document) {
  const std::string_view start = document.substr(0, 2);
  return start == "\xFE\xFF" || start == "\xFF\xFE" || start.find('\0') != std::string_view::npos;
}

/// The lines that `text` begins with, as many as make `size` bytes, or the first one if that is longer; at most what
/// expat takes at once.
std::string_view linesOf(std::string_view text, std::size_t size) {
  constexpr std::size_t kMaxBytes = INT_MAX;
  if (size >= text.size()) return text.substr(0, kMaxBytes);
  std::size_t lineFeed = text.rfind('\n', size - 1);
  if (lineFeed == std::string_view::npos) lineFeed = std::min(text.find('\n', size), text.size() - 1);
  return text.substr(0, std::min(lineFeed + 1, kMaxBytes));
}

}  // namespace

/// What expat calls. No exception passes through expat.
struct XmlParser::Callbacks {
  template <class Step>
  static void guard(void* parser, Step step) noexcept {
    XmlParser& self = *static_cast<XmlParser*>(parser);
    if (self.isStopped_) return;
    try {
      step(self);
    } catch (...) {
      self.keepException();
    }
  }

  static void startElement(void* parser, const char* name, const char** attributes) noexcept {
    guard(parser, [&](XmlParser& self) { self.startElement(name, attributes); });
  }
  static void endElement(void* parser, const char* name) noexcept {
    guard(parser, [&](XmlParser& self) { self.endElement(name); });
  }
  static void characters(void* parser, const char* text, int length) noexcept {
    guard(parser, [&](XmlParser& self) { self.handler_.characters({text, static_cast<std::size_t>(length)}); });
  }
  static void skipReference(void* parser, const char*, int isParameter) noexcept {
    if (isParameter) return;
    static_cast<XmlParser*>(parser)->hasSkippedReference_ = true;
    static_cast<XmlParser*>(parser)->stop();
  }
  static void declareAttribute(void* parser, const char*, const char*, const char*, const char* value, int) noexcept {
    guard(parser, [&](XmlParser& self) { self.declareAttribute(value != nullptr); });
  }
  static void declareEntity(void* parser, const char*, int, const char*, int, const char*, const char*, const char*,
                            const char*) noexcept {
    guard(parser, [](XmlParser& self) { self.declareEntity(); });
  }
};

XmlParser::XmlParser(XmlHandler& handler, const XmlLimits& limits, XmlEncoding encoding)
    : expat_(XML_ParserCreate(encoding == XmlEncoding::Utf8 ? "UTF-8" : nullptr)), handler_(handler), limits_(limits) {
  if (!expat_) throw std::bad_alloc();
  XML_Parser expat = expat_.get();
  XML_SetBillionLaughsAttackProtectionMaximumAmplification(expat, limits_.amplification);
  XML_SetBillionLaughsAttackProtectionActivationThreshold(expat, kAmplificationThreshold);
  readCutTokensAtOnce(expat);
  XML_SetUserData(expat, this);
  XML_SetElementHandler(expat, Callbacks::startElement, Callbacks::endElement);
  XML_SetCharacterDataHandler(expat, Callbacks::characters);
  XML_SetAttlistDeclHandler(expat, Callbacks::declareAttribute);
  XML_SetEntityDeclHandler(expat, Callbacks::declareEntity);
}

void XmlParser::Release::operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }

void XmlParser::parse(std::string_view document) {
  parsePieces(document);
  rethrow();
}

/// Where a document type lies elsewhere, expat passes over references that this one might declare.
XmlEnding XmlParser::parseToEnd(std::string_view document) {
  XML_Parser expat = expat_.get();
  XML_SetSkippedEntityHandler(expat, Callbacks::skipReference);
  parse(document);
  if (isReading() && XML_Parse(expat, "", 0, XML_TRUE) == XML_STATUS_OK) {
    return XmlEnding::Sound;
  }
  rethrow();
  if (hasSkippedReference_) return XmlEnding::UnknownReference;
  const XML_Error error = XML_GetErrorCode(expat);
  if (isStopped_ || error == XML_ERROR_AMPLIFICATION_LIMIT_BREACH) return XmlEnding::Stopped;
  if (hasRoot_ && depth_ == 0) return XmlEnding::FaultBehindRoot;
  return error == XML_ERROR_UNDEFINED_ENTITY ? XmlEnding::UnknownReference : XmlEnding::Fault;
}

bool XmlParser::isReading() const { return XML_GetErrorCode(expat_.get()) == XML_ERROR_NONE; }

void XmlParser::rethrow() const {
  if (exception_) std::rethrow_exception(exception_);
  if (XML_GetErrorCode(expat_.get()) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
}

void XmlParser::stop() noexcept {
  isStopped_ = true;
  XML_StopParser(expat_.get(), XML_FALSE);
}

void XmlParser::keepException() noexcept {
  exception_ = std::current_exception();
  stop();
}

/// expat keeps a copy of what it is given, so it gets the document piece by piece. A piece ends after a line feed,
/// where a chunk of text ends anyway; it grows as long as it brings expat no further, since a token that is cut off is
/// read from its beginning again. The last piece is not marked as such: a document counts up to where it is sound, and
/// its last tag says enough.
void XmlParser::parsePieces(std::string_view document) {
  std::size_t pieceBytes = kReadsCutTokensAtOnce && !hasWideUnits(document) ? kPieceBytes : document.size();
  XML_Index reached = 0;
  while (!document.empty()) {
    const std::string_view piece = linesOf(document, pieceBytes);
    if (XML_Parse(expat_.get(), piece.data(), static_cast<int>(piece.size()), XML_FALSE) != XML_STATUS_OK) return;
    document.remove_prefix(piece.size());
    const XML_Index at = XML_GetCurrentByteIndex(expat_.get());
    if (at == reached) pieceBytes *= 2;
    reached = at;
  }
}

void XmlParser::startElement(const char* name, XmlAttributes attributes) {
  hasRoot_ = true;
  if (++depth_ > limits_.depth) stop();
  if (declaredAttributes_ > 0) visitDeclaredAttributes(1 + XML_GetSpecifiedAttributeCount(expat_.get()) / 2);
  if (declaredDefaults_ > 0 && limits_.defaultBytes != UINT64_MAX) countDefaults(attributes);
  if (!isStopped_) handler_.startElement(name, attributes);
}

void XmlParser::endElement(const char* name) {
  --depth_;
  handler_.endElement(name);
}

/// Each of them may be as long as the document.
void XmlParser::countDefaults(XmlAttributes attributes) {
  attributes += XML_GetSpecifiedAttributeCount(expat_.get());
  for (; *attributes && defaultBytes_ <= limits_.defaultBytes; ++attributes) {
    defaultBytes_ += strnlen(*attributes, limits_.defaultBytes - defaultBytes_ + 1);
  }
  if (defaultBytes_ > limits_.defaultBytes) stop();
}

void XmlParser::declareAttribute(bool hasDefault) {
  visitDeclaredAttributes(1);
  ++declaredAttributes_;
  if (hasDefault && ++declaredDefaults_ > limits_.declaredDefaults) stop();
}

void XmlParser::declareEntity() {
  if (++declaredEntities_ > limits_.declaredEntities) stop();
}

/// expat may go through all attributes declared for an element where it begins, for each attribute that it has, and
/// where another is declared. Counts as if all were declared for each element.
void XmlParser::visitDeclaredAttributes(int times) {
  declaredAttributeVisits_ += declaredAttributes_ * static_cast<std::uint64_t>(times);
  if (declaredAttributeVisits_ > limits_.declaredAttributeVisits) stop();
}

}  // namespace quillmoria
