#include "feed/FeedParseState.h"

#include <array>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "feed/FeedDates.h"
#include "platform/CodePage.h"
#include "platform/Text.h"
#include "platform/Trace.h"
#include "xml/TextBudget.h"

namespace quillmoria {

enum class FeedElement : std::uint8_t {
  None,
  Other,
  Channel,
  Content,
  Created,
  Date,
  DcCreator,
  DcDate,
  DcLanguage,
  DcPubDate,
  Description,
  Entry,
  Feed,
  Guid,
  Height,
  Id,
  Image,
  Item,
  Language,
  Link,
  Name,
  PubDate,
  Rdf,
  Rss,
  Summary,
  SynUpdateBase,
  SynUpdateFrequency,
  SynUpdatePeriod,
  Tagline,
  Title,
  Url,
  Width,
  Count
};

enum class FeedField : std::uint8_t {
  None,
  ImageTitle,
  ImageUrl,
  ImageLink,
  ImageWidth,
  ImageHeight,
  ImageDescription,
  ChannelTitle,
  ChannelLink,
  ChannelDescription,
  ChannelTagline,
  ChannelLanguage,
  ChannelDate,
  UpdatePeriod,
  UpdateFrequency,
  UpdateBase,
  ItemTitle,  // from here on the item under construction
  ItemLink,
  ItemDescription,
  ItemCreator,
  ItemDate,
  ItemPubDate,
  ItemGuid,
  EntryTitle,
  EntryContent,
  EntryCreated,
  EntryId
};

namespace {

using Element = FeedElement;
using Field = FeedField;

constexpr char kRss090Namespace[] = "http://my.netscape.com/rdf/simple/0.9/";
constexpr int kMaxPictureLoads = 16;

/// With it, a document of 64 MiB is read whole as long as it has no more than 2^19 items.
constexpr std::size_t kItemAllowance = 128;

constexpr std::size_t kItemsOfAFeed = 32;  // most have no more

struct NamedElement {
  std::string_view name;
  Element element = Element::Other;
};

// Compatibility.
constexpr NamedElement kNamedElements[] = {
    {"channel", Element::Channel},
    {"content", Element::Content},
    {"created", Element::Created},
    {"date", Element::Date},
    {"dc:creator", Element::DcCreator},
    {"dc:date", Element::DcDate},
    {"dc:language", Element::DcLanguage},
    {"dc:pubDate", Element::DcPubDate},
    {"description", Element::Description},
    {"entry", Element::Entry},
    {"feed", Element::Feed},
    {"guid", Element::Guid},
    {"height", Element::Height},
    {"id", Element::Id},
    {"image", Element::Image},
    {"item", Element::Item},
    {"language", Element::Language},
    {"link", Element::Link},
    {"name", Element::Name},
    {"pubDate", Element::PubDate},
    {"rdf:RDF", Element::Rdf},
    {"rss", Element::Rss},
    {"summary", Element::Summary},
    {"syn:updateBase", Element::SynUpdateBase},
    {"syn:updateFrequency", Element::SynUpdateFrequency},
    {"syn:updatePeriod", Element::SynUpdatePeriod},
    {"tagline", Element::Tagline},
    {"title", Element::Title},
    {"url", Element::Url},
    {"width", Element::Width},
};

/// A hash without collisions among the names above, so that a name is recognised by one comparison.
constexpr std::size_t kNameSlots = 64;
constexpr std::size_t slotOf(std::string_view name) {
  const auto letter = [](char character) { return static_cast<std::size_t>(static_cast<unsigned char>(character)); };
  return (7 * name.size() + 15 * letter(name.front()) + 29 * letter(name.back())) % kNameSlots;
}

consteval std::array<NamedElement, kNameSlots> slotsOfNames() {
  std::array<NamedElement, kNameSlots> slots{};
  for (const NamedElement& named : kNamedElements) {
    NamedElement& slot = slots[slotOf(named.name)];
    if (!slot.name.empty()) throw "two names share a slot";
    slot = named;
  }
  return slots;
}

Element elementOf(std::string_view name) {
  static constexpr std::array<NamedElement, kNameSlots> kSlots = slotsOfNames();
  const NamedElement& slot = kSlots[slotOf(name)];
  return slot.name == name ? slot.element : Element::Other;
}

/// Where in a document text stands, as far as that decides its field.
enum class Context : std::uint8_t { None, Image, Item, Channel, AtomFeed, Entry, EntryContent, Count };

struct FieldRule {
  Context context;
  Element element;
  Field field;
};

// Compatibility.
constexpr FieldRule kFieldRules[] = {
    {Context::Image, Element::Title, Field::ImageTitle},
    {Context::Image, Element::Url, Field::ImageUrl},
    {Context::Image, Element::Link, Field::ImageLink},
    {Context::Image, Element::Width, Field::ImageWidth},
    {Context::Image, Element::Height, Field::ImageHeight},
    {Context::Image, Element::Description, Field::ImageDescription},
    {Context::Item, Element::Title, Field::ItemTitle},
    {Context::Item, Element::Link, Field::ItemLink},
    {Context::Item, Element::Description, Field::ItemDescription},
    {Context::Item, Element::DcCreator, Field::ItemCreator},
    {Context::Item, Element::Date, Field::ItemDate},
    {Context::Item, Element::DcDate, Field::ItemDate},
    {Context::Item, Element::PubDate, Field::ItemPubDate},
    {Context::Item, Element::DcPubDate, Field::ItemPubDate},
    {Context::Item, Element::Guid, Field::ItemGuid},
    {Context::Channel, Element::Title, Field::ChannelTitle},
    {Context::Channel, Element::Link, Field::ChannelLink},
    {Context::Channel, Element::Description, Field::ChannelDescription},
    {Context::Channel, Element::Language, Field::ChannelLanguage},
    {Context::Channel, Element::DcLanguage, Field::ChannelLanguage},
    {Context::Channel, Element::DcDate, Field::ChannelDate},
    {Context::Channel, Element::SynUpdatePeriod, Field::UpdatePeriod},
    {Context::Channel, Element::SynUpdateFrequency, Field::UpdateFrequency},
    {Context::Channel, Element::SynUpdateBase, Field::UpdateBase},
    {Context::AtomFeed, Element::Title, Field::ChannelTitle},
    {Context::AtomFeed, Element::Link, Field::ChannelLink},
    {Context::AtomFeed, Element::Tagline, Field::ChannelTagline},
    {Context::Entry, Element::Title, Field::EntryTitle},
    {Context::Entry, Element::Name, Field::ItemCreator},
    {Context::Entry, Element::Created, Field::EntryCreated},
    {Context::Entry, Element::Id, Field::EntryId},
    {Context::EntryContent, Element::Title, Field::EntryTitle},
    {Context::EntryContent, Element::Name, Field::ItemCreator},
};

using FieldsOfElements = std::array<Field, static_cast<std::size_t>(Element::Count)>;
using FieldTable = std::array<FieldsOfElements, static_cast<std::size_t>(Context::Count)>;

/// Content takes the text of whatever elements it holds, and of none; in all else what has no rule is not kept.
consteval FieldTable fieldTable() {
  FieldTable table{};
  table[static_cast<std::size_t>(Context::EntryContent)].fill(Field::EntryContent);
  for (const FieldRule& rule : kFieldRules) {
    table[static_cast<std::size_t>(rule.context)][static_cast<std::size_t>(rule.element)] = rule.field;
  }
  return table;
}

/// The value of the attribute `name`, or null.
const char* attribute(XmlAttributes attributes, const char* name) {
  for (; *attributes; attributes += 2) {
    if (areEqual(*attributes, name)) return attributes[1];
  }
  return nullptr;
}

/// Where RSS documents start from. Compatibility: fixed by the first parse of the process.
CTime defaultUpdateBase() {
  static const CTime base = readW3cDate("2000-01-01T12:00+00:00");
  return base;
}

/// Compatibility.
bool hasAddress(const RSSObject::NewsItemStruct& item) {
  return !item.link.empty() || (item.isPermaLink && !item.guidW.empty());
}

void widen(std::u16string& wide, std::string_view text) {
  wide.clear();
  appendUtf16(wide, text);
}

void appendBoth(std::string& narrow, std::u16string& wide, std::string_view chunk) {
  narrow += chunk;
  appendUtf16(wide, chunk);
}

}  // namespace
}  // namespace quillmoria

using namespace quillmoria;

FeedParseState::FeedParseState(RSSObject& target) : target_(target), parser_(std::in_place, *this) {
  defaultUpdateBase();
}

void FeedParseState::parse(std::string_view document) noexcept {
  try {
    parser_->parse(document);
    parser_.reset();  // its memory serves for the items
    if (finishedItems_) keepItems(*finishedItems_);
  } catch (...) {
    trace("A parse was broken off after %zu items\n", target_.parsedItems.size());
  }
}

/// Compatibility.
void FeedParseState::startElement(const char* name, XmlAttributes attributes) {
  current_ = elementOf(name);
  switch (current_) {
    case Element::Rss:
      announceRss();
      break;
    case Element::Rdf:
      announceRdf(attributes);
      break;
    case Element::Feed:
      isAtom_ = true;
      break;
    case Element::Item:
      startItem();
      inItem_ = true;
      break;
    case Element::Channel:
      inChannel_ = true;
      break;
    case Element::Image:
      inImage_ = true;
      break;
    case Element::Entry:
      if (!isAtom_) break;
      startItem();
      inEntry_ = true;
      break;
    case Element::Link:
      if (isAtom_) setLink(attributes);
      break;
    case Element::Content:
    case Element::Summary:
      if (inEntry_) inContent_ = true;
      break;
    case Element::Guid:
      setPermaLink(attributes);
      break;
    default:
      break;
  }
  open_.push_back(current_);
  field_ = chooseField();
}

void FeedParseState::endElement(const char*) {
  const Element ended = open_.back();
  open_.pop_back();
  switch (ended) {
    case Element::Channel:
      if (isRss_) {
        finish();
      } else if (isRdfFamily()) {
        inChannel_ = false;
      }
      break;
    case Element::Rdf:
      if (isRdfFamily()) finish();
      break;
    case Element::Feed:
      finish();
      break;
    case Element::Image:
      loadPicture();
      inImage_ = false;
      break;
    case Element::Item:
      inItem_ = false;
      completeItem();
      break;
    case Element::Entry:
      if (!inEntry_) break;
      inEntry_ = false;
      completeItem();
      break;
    case Element::Content:
    case Element::Summary:
      if (inEntry_) inContent_ = false;
      break;
    default:
      break;
  }
  current_ = Element::None;
  field_ = chooseField();
}

/// Compatibility.
void FeedParseState::characters(std::string_view chunk) {
  if (field_ == Field::None) return;
  if (chunk.size() == 1 && current_ == Element::Description) {
    if (chunk == "\n" || chunk == "\r") chunk = " ";  // Compatibility.
  } else {
    chunk = trimLineBreaks(chunk);
    if (chunk.empty()) return;
  }
  const bool isItemText = field_ >= Field::ItemTitle;
  if (isItemText ? hasRoomForItemText(chunk.size()) : hasRoomForChannelText(chunk.size())) store(chunk);
}

void FeedParseState::announceRss() {
  isRss_ = true;
  isRdf_ = false;
  RSSObject::ChannelStruct& channel = target_.channel;
  channel.updateBase = defaultUpdateBase();
  channel.updatePeriod = "hourly";
  channel.updateFrequency = 1;
  channel.date = CTime::GetCurrentTime();
}

void FeedParseState::announceRdf(XmlAttributes attributes) {
  const char* space = attribute(attributes, "xmlns");
  const bool is090 = space && areEqual(space, kRss090Namespace);
  isRss_ = false;
  isRdf_ = !is090;
  if (is090) isRss090_ = true;
}

void FeedParseState::startItem() {
  item_.reset();
  for (std::string* const text : {&text_.title, &text_.description, &text_.creator, &text_.guid}) text->clear();
  itemText_ = 0;
}

void FeedParseState::completeItem() {
  widen(item_.titleW, text_.title);
  widen(item_.descriptionW, text_.description);
  widen(item_.creatorW, text_.creator);
  widen(item_.guidW, text_.guid);
  // Compatibility.
  if (item_.date == CTime()) item_.date = CTime::GetCurrentTime();
  if (item_.timeSuffix.empty()) item_.timeSuffix = item_.date.Format("%p");
  // A copy, not a move: nested elements may complete one item several times, and the next one reuses its memory.
  if (!hasRoomForChannelText(itemText_ + kItemAllowance)) return;
  if (target_.parsedItems.empty()) target_.parsedItems.reserve(kItemsOfAFeed);
  target_.parsedItems.push_back(item_);
}

/// Compatibility.
void FeedParseState::setLink(XmlAttributes attributes) {
  const char* href = attribute(attributes, "href");
  if (!href || (!inEntry_ && open_.size() != 1)) return;
  const std::string_view link = href;
  if (inEntry_) {
    if (hasRoomForItemText(link.size())) item_.link = link;
  } else {
    if (hasRoomForChannelText(link.size())) target_.channel.link = link;
  }
}

/// Compatibility.
void FeedParseState::setPermaLink(XmlAttributes attributes) {
  if (const char* value = attribute(attributes, "isPermaLink")) item_.isPermaLink = areEqual(value, "true");
}

void FeedParseState::loadPicture() {
  if (target_.channel.image.url.empty() || pictureLoads_ == kMaxPictureLoads) return;
  ++pictureLoads_;
  target_.LoadImage(target_.channel.image);
}

/// Compatibility: a document may finish several times, so the items are only counted here: the array is made once,
/// after the parse.
void FeedParseState::finish() {
  finishedItems_ = target_.parsedItems.size();
  inChannel_ = false;
}

void FeedParseState::keepItems(std::size_t parsed) {
  auto items = std::make_unique<RSSObject::NewsItemStruct[]>(parsed);
  RSSObject::NewsItemStruct* next = items.get();
  for (const RSSObject::NewsItemStruct& item : std::span(target_.parsedItems).first(parsed)) {
    if (!hasAddress(item)) continue;
    *next = item;
    next->descriptionW = RSSObject::FormatHTMLString(std::move(next->descriptionW));
    if (next->link.empty()) next->link = wideToUtf8(next->guidW);
    ++next;
  }
  target_.itemCount = static_cast<std::int32_t>(next - items.get());
  target_.items = items.release();
  trace("Loaded %d items\n", target_.itemCount);
}

FeedField FeedParseState::chooseField() const {
  static constexpr FieldTable kFields = fieldTable();
  const std::size_t depth = open_.size();
  // Compatibility.
  const bool isInRecord = (isRss_ && depth == 4) || (isRdfFamily() && depth == 3);
  const auto context = [&] {
    if (inImage_ && isInRecord) return Context::Image;
    if (inItem_ && isInRecord) return Context::Item;
    if (inChannel_ && depth == 3) return Context::Channel;
    if (isAtom_ && !inEntry_ && depth == 2) return Context::AtomFeed;
    if (inEntry_) return inContent_ ? Context::EntryContent : Context::Entry;
    return Context::None;
  }();
  return kFields[static_cast<std::size_t>(context)][static_cast<std::size_t>(current_)];
}

/// Compatibility.
void FeedParseState::store(std::string_view chunk) {
  RSSObject::ChannelStruct& channel = target_.channel;
  RSSObject::ImageStruct& image = channel.image;
  switch (field_) {
    case Field::None:
      break;
    case Field::ImageTitle:
      image.title = chunk;
      break;
    case Field::ImageUrl:
      image.url = chunk;
      break;
    case Field::ImageLink:
      image.link = chunk;
      break;
    case Field::ImageWidth:
      image.width = toInt32(chunk);
      break;
    case Field::ImageHeight:
      image.height = toInt32(chunk);
      break;
    case Field::ImageDescription:
      image.description = chunk;
      break;
    case Field::ChannelTitle:
      appendBoth(channel.title, channel.titleW, chunk);
      break;
    case Field::ChannelLink:
      channel.link += chunk;
      break;
    case Field::ChannelDescription:
      appendBoth(channel.description, channel.descriptionW, chunk);
      break;
    case Field::ChannelTagline:
      appendUtf16(channel.descriptionW, chunk);
      break;
    case Field::ChannelLanguage:
      channel.language += chunk;
      break;
    case Field::ChannelDate:
      channel.date = readW3cDate(chunk);
      break;
    case Field::UpdatePeriod:
      channel.updatePeriod = chunk;
      break;
    case Field::UpdateFrequency:
      channel.updateFrequency = toInt32(chunk);
      break;
    case Field::UpdateBase:
      channel.updateBase = readW3cDate(chunk);
      break;
    case Field::ItemTitle:
      item_.title += chunk;
      text_.title += chunk;
      break;
    case Field::ItemLink:
      item_.link += chunk;
      break;
    case Field::ItemDescription:
      item_.description += chunk;
      text_.description += chunk;
      break;
    case Field::ItemCreator:
      text_.creator += chunk;
      break;
    case Field::ItemDate:
      item_.date = readW3cDate(chunk);
      item_.timeSuffix = "GMT";
      break;
    case Field::ItemPubDate:
      item_.date = readRfc822Date(chunk);
      break;
    case Field::ItemGuid:
      text_.guid += chunk;
      break;
    case Field::EntryTitle:
      text_.title += chunk;
      break;
    case Field::EntryContent:
      text_.description += chunk;
      break;
    case Field::EntryCreated:
      item_.date = readW3cDate(chunk);
      break;
    case Field::EntryId:
      text_.guid += chunk;
      item_.isPermaLink = false;
      break;
  }
}

bool FeedParseState::hasRoomForItemText(std::size_t size) {
  itemText_ += size;
  return isWithinBounds(keptText_ + itemText_);
}

bool FeedParseState::hasRoomForChannelText(std::size_t size) {
  keptText_ += size;
  return isWithinBounds(keptText_);
}

bool FeedParseState::isWithinBounds(std::size_t text) {
  if (text <= kMaxKeptText) return true;
  parser_->stop();
  return false;
}
