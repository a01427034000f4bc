#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>

struct XML_ParserStruct;

namespace quillmoria {

/// The names and values of a start tag's attributes by turns, those that have a declared default last; then a null.
using XmlAttributes = const char* const*;

/// Whether two names or values are the same. Looks no further than where they differ: each element brings all declared
/// defaults, and those may be huge.
inline bool areEqual(const char* one, const char* other) { return std::strcmp(one, other) == 0; }

/// What a document is told to, tag by tag. All texts are in UTF-8 and last until the call returns; names have the
/// prefixes that the document gives them.
class XmlHandler {
 public:
  virtual void startElement(const char* name, XmlAttributes attributes) = 0;
  virtual void endElement(const char* name) = 0;

  /// A part of the text between two tags; each line break and reference begins a new one.
  virtual void characters(std::string_view chunk) = 0;

 protected:
  ~XmlHandler() = default;
};

/// What a document may ask for. One that asks for more ends there, as if it broke off.
struct XmlLimits {
  std::size_t depth = 1'000'000;                    ///< elements open at once
  std::size_t declaredDefaults = 64;                ///< of attributes: each element that they are for brings them along
  std::uint64_t declaredAttributeVisits = 1 << 30;  ///< by elements, attributes and declarations, each to all before it
  std::uint64_t defaultBytes = UINT64_MAX;          ///< of declared defaults that elements bring along, in all
  std::size_t declaredEntities = 1'000;             ///< expat goes down the stack where one refers to the next
  float amplification = 10;  ///< times its length, from a MiB on, that entities make of a document
};

enum class XmlEncoding { AsDeclared, Utf8 };

/// How a document ended.
enum class XmlEnding {
  Sound,
  FaultBehindRoot,   ///< the root element is complete
  UnknownReference,  ///< a fault: nobody declares what is referred to
  Fault,             ///< or the document broke off
  Stopped,           ///< by the handler or by a limit
};

/// One reading of one document, without anything that it refers to outside of itself.
///
///     XmlParser(handler).parse(document);
///
/// Belongs to one thread.
class XmlParser {
 public:
  /// A reading for `handler`, which must outlive it. Throws std::bad_alloc.
  explicit XmlParser(XmlHandler& handler, const XmlLimits& limits = {}, XmlEncoding encoding = XmlEncoding::AsDeclared);
  XmlParser(const XmlParser&) = delete;
  XmlParser& operator=(const XmlParser&) = delete;

  /// Reads `document` up to its end or its first fault; called again, a further part of it. Throws what the handler
  /// throws, which ends the reading, and std::bad_alloc.
  void parse(std::string_view document);

  /// Reads the whole `document` as `parse` does, and tells whether it ends as it should; once for each parser.
  XmlEnding parseToEnd(std::string_view document);

  /// Whether there was an element.
  bool hasRoot() const { return hasRoot_; }

  /// Whether nothing has ended the reading yet.
  bool isReading() const;

  /// Ends the reading. Only for the handler, which is not called again.
  void stop() noexcept;

 private:
  struct Callbacks;
  struct Release {
    void operator()(XML_ParserStruct* parser) const;
  };

  void keepException() noexcept;
  void rethrow() const;
  void parsePieces(std::string_view document);
  void startElement(const char* name, XmlAttributes attributes);
  void endElement(const char* name);
  void countDefaults(XmlAttributes attributes);
  void declareAttribute(bool hasDefault);
  void declareEntity();
  void visitDeclaredAttributes(int times);

  std::unique_ptr<XML_ParserStruct, Release> expat_;
  XmlHandler& handler_;
  const XmlLimits limits_;
  bool hasSkippedReference_ = false;
  bool isStopped_ = false;  ///< expat may still call back
  bool hasRoot_ = false;
  std::exception_ptr exception_;  ///< thrown by the handler, kept until expat has returned
  std::size_t depth_ = 0;
  std::size_t declaredDefaults_ = 0;
  std::uint64_t defaultBytes_ = 0;
  std::uint64_t declaredAttributes_ = 0;
  std::uint64_t declaredAttributeVisits_ = 0;
  std::size_t declaredEntities_ = 0;
};

}  // namespace quillmoria
