#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmoria/RSSObject.h"
#include "xml/XmlParser.h"

namespace quillmoria {

enum class FeedElement : std::uint8_t;
enum class FeedField : std::uint8_t;

}  // namespace quillmoria

/// One parse of one feed document (RSS 0.90, 0.91 to 2.0, 1.0, Atom) into the records of a feed object.
///
///     RSSObject feed({}, nullptr, -1);
///     FeedParseState(feed).parse(document);
///     if (feed.itemCount < 0) { /* the document did not come to its end */ }
///
/// The channel picture is loaded on the way, so a parse may read files and use the network.
///
/// Fields are filled chunk by chunk as the parser delivers text, and each chunk is trimmed on its own. Where it goes
/// depends on nothing but the tags before it, so it is decided at them.
///
/// Belongs to one thread, and outlives neither the parse nor its target.
class FeedParseState final : public quillmoria::XmlHandler {
 public:
  /// A parse into `target`, whose counts and items must be those of a new object. Throws std::bad_alloc.
  explicit FeedParseState(RSSObject& target);
  FeedParseState(const FeedParseState&) = delete;
  FeedParseState& operator=(const FeedParseState&) = delete;

  /// Reads the whole `document`; once for each state. A document that comes to its finishing end tag gives the target
  /// its `items` and `itemCount`; what follows that tag may be malformed. Otherwise both stay as they are, also when
  /// memory runs out. Never throws.
  void parse(std::string_view document) noexcept;

 private:
  void startElement(const char* name, quillmoria::XmlAttributes attributes) override;
  void endElement(const char* name) override;
  void characters(std::string_view chunk) override;

  void announceRss();
  void announceRdf(quillmoria::XmlAttributes attributes);
  void startItem();
  void completeItem();
  void setLink(quillmoria::XmlAttributes attributes);
  void setPermaLink(quillmoria::XmlAttributes attributes);
  void loadPicture();
  void finish();
  void keepItems(std::size_t parsed);

  bool isRdfFamily() const { return isRdf_ || isRss090_; }
  quillmoria::FeedField chooseField() const;
  void store(std::string_view chunk);
  bool hasRoomForItemText(std::size_t size);
  bool hasRoomForChannelText(std::size_t size);
  bool isWithinBounds(std::size_t text);

  RSSObject& target_;
  std::optional<quillmoria::XmlParser> parser_;

  quillmoria::FeedElement current_{};          ///< the element of the last start tag; none after an end tag
  quillmoria::FeedField field_{};              ///< where text goes until the next tag
  std::vector<quillmoria::FeedElement> open_;  ///< the elements that have begun and not ended, from the root on
  bool isRss_ = false;
  bool isRdf_ = false;
  bool isRss090_ = false;
  bool isAtom_ = false;
  bool inChannel_ = false;
  bool inImage_ = false;
  bool inItem_ = false;
  bool inEntry_ = false;
  bool inContent_ = false;

  /// The texts of the item under construction that become wide, once each, when it is complete.
  struct ItemText {
    std::string title;
    std::string description;
    std::string creator;
    std::string guid;
  };

  RSSObject::NewsItemStruct item_;            ///< the item under construction, but for its wide texts
  ItemText text_;                             ///< its wide texts
  std::optional<std::size_t> finishedItems_;  ///< the items that were complete at the last finish
  int pictureLoads_ = 0;
  std::size_t itemText_ = 0;  ///< bytes given to the item under construction
  std::size_t keptText_ = 0;  ///< bytes given to all else, with an allowance for each item
};
