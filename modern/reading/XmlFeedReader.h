#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "modern/reading/Document.h"
#include "modern/reading/Names.h"
#include "xml/ForgivingReading.h"
#include "xml/TextBudget.h"

namespace quillmoria {

/// Thrown at the root element of a document that is no feed.
struct NoFeed {};

/// Reads RSS 0.90 to 2.0 and Atom 0.3 and 1.0. One reader for both: what an element means depends on its namespace and
/// on what it stands in, and each format's elements turn up in the other's documents. A table says what is kept.
///
///     Document document;
///     XmlFeedReader reader(document, url);
///     readForgivingly(text, reader);
///     reader.finish();
///
/// An entry is there if its end tag is. Throws NoFeed and KeptTextExceeded.
class XmlFeedReader final : public RestartableXmlHandler {
 public:
  /// Reads into `document`, which came from `url`. Both must outlive the reader.
  XmlFeedReader(Document& document, std::string_view url);

  void restart() override;
  void cutOff() override;

  /// Nothing comes any more, whatever the reason.
  void finish();

 private:
  enum class Context : std::uint8_t;
  enum class Field : std::uint8_t;
  struct Rule;
  struct Rules;

  /// An element that has begun and not ended.
  struct Frame {
    Element element = Element::Unknown;
    Context inside{};  ///< what its children stand in
    Field field{};     ///< what its text is
    std::uint8_t rank = 0;
    TextKind kind = TextKind::Plain;
    bool isAtom = false;
    bool collects = false;    ///< its text is kept
    bool isMarkup = false;    ///< its text is being written out as HTML
    bool isCaptured = false;  ///< it is a part of such text
    bool isBase64 = false;
    bool isPermaLink = false;
    bool leavesOutDiv = false;  ///< the element right inside is no part of the text
    bool isTagLeftOut = false;
    bool isBaseChanged = false;
    bool isLanguageChanged = false;
    Base outerBase = 0;         ///< of what it stands in
    std::size_t textStart = 0;  ///< where its text begins in text_
  };

  static constexpr std::size_t kFields = 40;
  using Ranks = std::array<std::uint8_t, kFields>;

  void startElement(const char* name, XmlAttributes attributes) override;
  void endElement(const char* name) override;
  void characters(std::string_view chunk) override;

  void startRoot(const char* name, XmlAttributes attributes);
  void startScopes(Frame& frame, XmlAttributes attributes);
  void setBase(Frame& frame, std::string_view address);
  void startField(Frame& frame, XmlAttributes attributes);
  void startItem(XmlAttributes attributes);
  void startLink(Frame& frame, XmlAttributes attributes);
  void startText(Frame& frame, XmlAttributes attributes);
  void startContent(Frame& frame, XmlAttributes attributes);
  void startMedia(Frame& frame, XmlAttributes attributes);
  void startCaptured(Frame& frame, const char* name, XmlAttributes attributes);
  void finishField(const Frame& frame, Context outside);
  void finishValue(const Frame& frame, std::string_view text);
  void finishText(const Frame& frame, Text& text);
  void finishMediaTitle(const Frame& frame);
  void finishPerson(const Frame& frame, Context outside);
  void finishItem();
  void finishGroup();

  bool isBetter(Field field, std::uint8_t rank);
  void keepAddress(Field field, std::uint8_t rank, std::string_view address);
  void keepMoment(Field field, std::uint8_t rank, std::string_view date);
  void keepId(const Frame& frame, std::string_view id);
  void keepOfChannel(Field field, std::string_view text);
  void keepCategory(std::string_view category);
  void keepKeywords(std::string_view keywords);
  void keepAuthor(std::uint8_t rank, std::string_view person);
  Media* keepMedia(std::string_view url, std::string_view type);
  std::string kept(std::string_view text);
  Address* addressOf(Field field);
  Text* textFor(const Frame& frame);
  std::string_view textOf(const Frame& frame) const;

  Document& document_;
  const std::string_view url_;
  TextBudget budget_;
  ElementNames names_;
  std::vector<Frame> open_;
  std::string text_;  ///< of the open elements that collect, one behind the other
  bool isAtom_ = false;
  Base base_ = 0;
  std::string lastBase_;  ///< the last `xml:base` as it stood
  Base lastOuterBase_ = 0;
  Base lastBaseResult_ = 0;
  int relativeBases_ = 0;
  std::vector<std::string> languages_;

  bool isCutOff_ = false;  ///< what ends is not complete
  Entry* item_ = nullptr;  ///< the entry that has begun and not ended
  Ranks itemRanks_{};
  Ranks channelRanks_{};
  std::size_t groupStart_ = 0;
  Text groupTitle_;
  std::string personName_;
  std::string personMail_;
};

}  // namespace quillmoria
