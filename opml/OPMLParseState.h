#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "quillmoria/OPML.h"
#include "xml/XmlParser.h"

/// One reading of one subscription list: fills a document and sends an event for each outline.
///
///     OPMLParseState(parser, document).parse(text);
///
/// A list beyond its bounds (1,000,000 outlines, 128 MiB of text in them, those of the XML parser) ends there, as a
/// malformed one does. Belongs to one thread.
class OPMLParseState final : public quillmoria::XmlHandler {
 public:
  /// A reading into `document`, new and owned by `parser`, whose subscribers hear the events. Throws std::bad_alloc.
  OPMLParseState(OPMLParser& parser, OPMLDoc& document);

  /// Reads the whole `text`, once for each state. What stands before a fault in it is kept. Throws what a subscriber
  /// throws, and std::bad_alloc.
  void parse(std::string_view text);

 private:
  using StoreText = void (*)(OPMLDoc::HeadStruct& head, std::string_view text);

  void startElement(const char* tag, quillmoria::XmlAttributes attributes) override;
  void endElement(const char* tag) override;
  void characters(std::string_view text) override;
  void readVersion(quillmoria::XmlAttributes attributes);
  void addOutline(quillmoria::XmlAttributes attributes);
  void place(std::unique_ptr<OPMLDoc::OutlineStruct> outline);
  void wrapFlatList();

  OPMLParser& parser_;
  OPMLDoc& document_;
  quillmoria::XmlParser xmlParser_;
  StoreText storeText_ = nullptr;  ///< while the last tag was the start of a head field
  std::int32_t headCount_ = 0;     ///< open `head` elements
  std::int32_t outlineDepth_ = 0;  ///< open `outline` elements
  std::int32_t outlineCount_ = 0;
  std::size_t textBytes_ = 0;  ///< in all outlines
  bool isNested_ = false;      ///< some top-level outline has children
};
