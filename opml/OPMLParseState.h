#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string_view>

#include "quillmoria/OPML.h"

struct XML_ParserStruct;

/// One reading of one subscription list: fills a document and sends an event for each outline.
///
///     OPMLParseState(parser, document).parse(text);
///
/// A list beyond its bounds (1,000,000 outlines, 128 MiB of text in them, elements 1,000,000 deep, entities that blow
/// it up) ends there, as a malformed one does. Belongs to one thread.
class OPMLParseState {
 public:
  /// A reading into `document`, new and owned by `parser`, whose subscribers hear the events. Throws std::bad_alloc.
  OPMLParseState(OPMLParser& parser, OPMLDoc& document);
  ~OPMLParseState();

  /// Reads the whole `text`, once for each state. What stands before a fault in it is kept. Throws what a subscriber
  /// throws.
  void parse(std::string_view text);

 private:
  using Attributes = const char**;
  using StoreText = void (*)(OPMLDoc::HeadStruct& head, std::string_view text);
  struct ParserRelease {
    void operator()(XML_ParserStruct* parser) const;
  };

  template <class Action>
  void guarded(Action action) noexcept;
  void stop();
  void startElement(const char* tag, Attributes attributes);
  void endElement(std::string_view name);
  void characters(std::string_view text);
  void readVersion(Attributes attributes);
  void addOutline(Attributes attributes);
  void place(std::unique_ptr<OPMLDoc::OutlineStruct> outline);
  void wrapFlatList();

  OPMLParser& parser_;
  OPMLDoc& document_;
  std::unique_ptr<XML_ParserStruct, ParserRelease> xmlParser_;
  std::exception_ptr exception_;   ///< thrown in a callback, kept until expat has returned
  bool stopped_ = false;           ///< expat may still call back
  StoreText storeText_ = nullptr;  ///< while the last tag was the start of a head field
  std::int32_t elementDepth_ = 0;  ///< open elements of any name
  std::int32_t headCount_ = 0;     ///< open `head` elements
  std::int32_t outlineDepth_ = 0;  ///< open `outline` elements
  std::int32_t outlineCount_ = 0;
  std::int32_t declaredAttributes_ = 0;
  std::int32_t declaredEntities_ = 0;
  std::size_t textBytes_ = 0;  ///< in all outlines
  bool isNested_ = false;      ///< some top-level outline has children
};
