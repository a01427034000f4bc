#include "modern/reading/XmlFeedReader.h"

#include <algorithm>
#include <utility>

#include "modern/reading/Dates.h"
#include "modern/reading/Encoding.h"
#include "modern/reading/Markup.h"
#include "modern/reading/Values.h"
#include "platform/Text.h"
#include "platform/Url.h"

namespace quillmoria {

/// What an element stands in, as far as that decides what it means. From Item on it belongs to an entry.
enum class XmlFeedReader::Context : std::uint8_t {
  Document,
  Wrapper,  ///< something unknown that may hold entries
  Feed,
  Picture,
  Hours,
  Days,
  Categories,
  Subject,
  Person,
  Ignored,
  Item,
  ItemPicture,
  Source,
  Group,
  Media,
  Count
};

enum class XmlFeedReader::Field : std::uint8_t {
  None,
  Structure,  ///< a feed or channel
  Item,
  Title,
  Content,
  Summary,
  Link,
  Id,
  Published,
  Updated,
  Author,
  Category,
  Keywords,
  Language,
  Rights,
  Generator,
  Comments,
  Duration,
  Image,
  Source,
  SourceTitle,
  SourceLink,
  Media,
  MediaTitle,
  Group,
  PersonName,
  PersonMail,
  PictureTitle,
  PictureLink,
  PictureWidth,
  PictureHeight,
  PictureDescription,
  Hub,
  Ttl,
  Hour,
  Day,
  UpdateBase,
  UpdatePeriod,
  UpdateFrequency,
  Count
};

/// Of several elements for one field that with the lowest rank counts, and of these the first one.
struct XmlFeedReader::Rule {
  Field field = Field::None;
  std::uint8_t rank = 0;
  Context inside = Context::Ignored;
};

struct XmlFeedReader::Rules {
  struct Row {
    Context context;
    Element element;
    Rule rule;
  };

  static constexpr Row kRows[] = {
      {Context::Document, Element::Channel, {Field::Structure, 0, Context::Feed}},
      {Context::Document, Element::Feed, {Field::Structure, 0, Context::Feed}},
      {Context::Document, Element::Rdf, {Field::Structure, 0, Context::Feed}},
      {Context::Document, Element::Rss, {Field::Structure, 0, Context::Feed}},
      {Context::Document, Element::Entry, {Field::Item, 0, Context::Item}},

      {Context::Wrapper, Element::Channel, {Field::Structure, 0, Context::Feed}},

      {Context::Feed, Element::Channel, {Field::Structure, 0, Context::Feed}},
      {Context::Feed, Element::Feed, {Field::Structure, 0, Context::Feed}},
      {Context::Feed, Element::Title, {Field::Title, 0}},
      {Context::Feed, Element::DcTitle, {Field::Title, 1}},
      {Context::Feed, Element::ItunesTitle, {Field::Title, 2}},
      {Context::Feed, Element::Description, {Field::Summary, 0}},
      {Context::Feed, Element::Subtitle, {Field::Summary, 0}},
      {Context::Feed, Element::DcDescription, {Field::Summary, 1}},
      {Context::Feed, Element::ItunesSummary, {Field::Summary, 2}},
      {Context::Feed, Element::ItunesSubtitle, {Field::Summary, 3}},
      {Context::Feed, Element::Link, {Field::Link, 0}},
      {Context::Feed, Element::Language, {Field::Language, 0}},
      {Context::Feed, Element::DcLanguage, {Field::Language, 1}},
      {Context::Feed, Element::Published, {Field::Published, 0}},
      {Context::Feed, Element::PubDate, {Field::Published, 0}},
      {Context::Feed, Element::DcDate, {Field::Published, 1}},
      {Context::Feed, Element::DcTermsIssued, {Field::Published, 2}},
      {Context::Feed, Element::Issued, {Field::Published, 2}},
      {Context::Feed, Element::DcTermsCreated, {Field::Published, 3}},
      {Context::Feed, Element::Created, {Field::Published, 3}},
      {Context::Feed, Element::Updated, {Field::Updated, 0}},
      {Context::Feed, Element::LastBuildDate, {Field::Updated, 1}},
      {Context::Feed, Element::Modified, {Field::Updated, 1}},
      {Context::Feed, Element::DcTermsModified, {Field::Updated, 2}},
      {Context::Feed, Element::DcCreator, {Field::Author, 0}},
      {Context::Feed, Element::Author, {Field::Author, 2, Context::Person}},
      {Context::Feed, Element::ItunesAuthor, {Field::Author, 3}},
      {Context::Feed, Element::ManagingEditor, {Field::Author, 4}},
      {Context::Feed, Element::Rights, {Field::Rights, 0}},
      {Context::Feed, Element::Copyright, {Field::Rights, 0}},
      {Context::Feed, Element::DcRights, {Field::Rights, 1}},
      {Context::Feed, Element::Generator, {Field::Generator, 0}},
      {Context::Feed, Element::GeneratorAgent, {Field::Generator, 1}},
      {Context::Feed, Element::Category, {Field::Category, 0}},
      {Context::Feed, Element::DcSubject, {Field::Category, 0, Context::Subject}},
      {Context::Feed, Element::ItunesCategory, {Field::Category, 0, Context::Categories}},
      {Context::Feed, Element::MediaCategory, {Field::Category, 0}},
      {Context::Feed, Element::ItunesKeywords, {Field::Keywords, 0}},
      {Context::Feed, Element::MediaKeywords, {Field::Keywords, 0}},
      {Context::Feed, Element::Image, {Field::None, 0, Context::Picture}},
      {Context::Feed, Element::ItunesImage, {Field::Image, 1}},
      {Context::Feed, Element::Logo, {Field::Image, 2}},
      {Context::Feed, Element::Icon, {Field::Image, 3}},
      {Context::Feed, Element::Ttl, {Field::Ttl, 0}},
      {Context::Feed, Element::SkipHours, {Field::None, 0, Context::Hours}},
      {Context::Feed, Element::SkipDays, {Field::None, 0, Context::Days}},
      {Context::Feed, Element::UpdateBase, {Field::UpdateBase, 0}},
      {Context::Feed, Element::UpdatePeriod, {Field::UpdatePeriod, 0}},
      {Context::Feed, Element::UpdateFrequency, {Field::UpdateFrequency, 0}},

      {Context::Hours, Element::Hour, {Field::Hour, 0}},
      {Context::Days, Element::Day, {Field::Day, 0}},
      {Context::Categories, Element::ItunesCategory, {Field::Category, 0, Context::Categories}},
      {Context::Subject, Element::RdfDescription, {Field::None, 0, Context::Subject}},
      {Context::Subject, Element::RdfValue, {Field::Category, 0}},
      {Context::Person, Element::Name, {Field::PersonName, 0}},
      {Context::Person, Element::Email, {Field::PersonMail, 0}},
      {Context::Picture, Element::Title, {Field::PictureTitle, 0}},
      {Context::Picture, Element::Url, {Field::Image, 0}},
      {Context::Picture, Element::Link, {Field::PictureLink, 0}},
      {Context::Picture, Element::Width, {Field::PictureWidth, 0}},
      {Context::Picture, Element::Height, {Field::PictureHeight, 0}},
      {Context::Picture, Element::Description, {Field::PictureDescription, 0}},

      {Context::Item, Element::Entry, {Field::Item, 0, Context::Item}},
      {Context::Item, Element::Item, {Field::Item, 0, Context::Item}},
      {Context::Item, Element::Title, {Field::Title, 0}},
      {Context::Item, Element::MediaTitle, {Field::Title, 1}},
      {Context::Item, Element::DcTitle, {Field::Title, 2}},
      {Context::Item, Element::ItunesTitle, {Field::Title, 3}},
      {Context::Item, Element::ContentEncoded, {Field::Content, 0}},
      {Context::Item, Element::Content, {Field::Content, 1}},
      {Context::Item, Element::XhtmlBody, {Field::Content, 3}},
      {Context::Item, Element::XhtmlDiv, {Field::Content, 4}},
      {Context::Item, Element::Description, {Field::Summary, 0}},
      {Context::Item, Element::Summary, {Field::Summary, 1}},
      {Context::Item, Element::ItunesSummary, {Field::Summary, 2}},
      {Context::Item, Element::MediaDescription, {Field::Summary, 3}},
      {Context::Item, Element::DcDescription, {Field::Summary, 4}},
      {Context::Item, Element::ItunesSubtitle, {Field::Summary, 5}},
      {Context::Item, Element::Link, {Field::Link, 0}},
      {Context::Item, Element::Guid, {Field::Id, 0}},
      {Context::Item, Element::Id, {Field::Id, 0}},
      {Context::Item, Element::Published, {Field::Published, 0}},
      {Context::Item, Element::PubDate, {Field::Published, 1}},
      {Context::Item, Element::DcDate, {Field::Published, 2}},
      {Context::Item, Element::Issued, {Field::Published, 3}},
      {Context::Item, Element::DcTermsIssued, {Field::Published, 3}},
      {Context::Item, Element::Created, {Field::Published, 4}},
      {Context::Item, Element::DcTermsCreated, {Field::Published, 4}},
      {Context::Item, Element::Date, {Field::Published, 5}},
      {Context::Item, Element::Updated, {Field::Updated, 0}},
      {Context::Item, Element::Modified, {Field::Updated, 1}},
      {Context::Item, Element::DcTermsModified, {Field::Updated, 2}},
      {Context::Item, Element::LastBuildDate, {Field::Updated, 3}},
      {Context::Item, Element::DcCreator, {Field::Author, 0}},
      {Context::Item, Element::Author, {Field::Author, 2, Context::Person}},
      {Context::Item, Element::ItunesAuthor, {Field::Author, 3}},
      {Context::Item, Element::Category, {Field::Category, 0}},
      {Context::Item, Element::DcSubject, {Field::Category, 0, Context::Subject}},
      {Context::Item, Element::ItunesCategory, {Field::Category, 0, Context::Categories}},
      {Context::Item, Element::MediaCategory, {Field::Category, 0}},
      {Context::Item, Element::ItunesKeywords, {Field::Keywords, 0}},
      {Context::Item, Element::MediaKeywords, {Field::Keywords, 0}},
      {Context::Item, Element::Language, {Field::Language, 0}},
      {Context::Item, Element::DcLanguage, {Field::Language, 0}},
      {Context::Item, Element::Comments, {Field::Comments, 0}},
      {Context::Item, Element::Enclosure, {Field::Media, 0}},
      {Context::Item, Element::ItunesDuration, {Field::Duration, 0}},
      {Context::Item, Element::MediaThumbnail, {Field::None, 0}},
      {Context::Item, Element::ItunesImage, {Field::Image, 2}},
      {Context::Item, Element::Image, {Field::Image, 3, Context::ItemPicture}},
      {Context::Item, Element::MediaContent, {Field::Media, 1, Context::Media}},
      {Context::Item, Element::MediaGroup, {Field::Group, 0, Context::Group}},
      {Context::Item, Element::Source, {Field::Source, 1, Context::Source}},

      {Context::ItemPicture, Element::Url, {Field::Image, 3}},
      {Context::Group, Element::MediaContent, {Field::Media, 1, Context::Media}},
      {Context::Group, Element::MediaDescription, {Field::Summary, 6}},  // a video's, and all that its item says
      {Context::Group, Element::MediaThumbnail, {Field::None, 0}},
      {Context::Group, Element::MediaTitle, {Field::MediaTitle, 1}},
      {Context::Media, Element::MediaThumbnail, {Field::None, 0}},
      {Context::Media, Element::MediaTitle, {Field::MediaTitle, 0}},
      {Context::Source, Element::Title, {Field::SourceTitle, 0}},
      {Context::Source, Element::Link, {Field::SourceLink, 0}},
      {Context::Source, Element::Author, {Field::Author, 0, Context::Person}},
  };

  using OfElements = std::array<Rule, static_cast<std::size_t>(Element::Count)>;
  using Table = std::array<OfElements, static_cast<std::size_t>(Context::Count)>;

  static consteval Table table() {
    Table table{};
    for (const Context context : {Context::Wrapper, Context::Feed}) {
      table[static_cast<std::size_t>(context)].fill({Field::None, 0, Context::Wrapper});
    }
    // Wherever an end tag is missing, an entry begins.
    for (auto context = static_cast<std::size_t>(Context::Wrapper); context < static_cast<std::size_t>(Context::Item);
         ++context) {
      for (const Element element : {Element::Entry, Element::Item}) {
        table[context][static_cast<std::size_t>(element)] = {Field::Item, 0, Context::Item};
      }
    }
    table[static_cast<std::size_t>(Context::Ignored)] = {};
    for (const Row& row : kRows) {
      table[static_cast<std::size_t>(row.context)][static_cast<std::size_t>(row.element)] = row.rule;
    }
    return table;
  }

  static const Rule& of(Context context, Element element) {
    static constexpr Table kTable = table();
    return kTable[static_cast<std::size_t>(context)][static_cast<std::size_t>(element)];
  }

  /// Whether the text of `field` may be markup.
  static bool isRich(Field field) {
    switch (field) {
      case Field::Title:
      case Field::Content:
      case Field::Summary:
      case Field::Rights:
      case Field::Generator:
      case Field::SourceTitle:
      case Field::MediaTitle:
      case Field::PictureTitle:
      case Field::PictureDescription:
        return true;
      default:
        return false;
    }
  }
};

namespace {

constexpr std::size_t kMaxBaseBytes = 1'024;       ///< of a base address
constexpr std::size_t kMaxLanguageBytes = 64;      ///< of a language that entries take over
constexpr std::size_t kMaxResolvedText = 8 << 20;  ///< beyond that a text's addresses stay relative
constexpr int kMaxRelativeBases = 1'000;           ///< of a document: to resolve one takes long
constexpr std::uint8_t kNoRank = 0xFF;

/// The value of the attribute `name`, in any letter case; null if there is none.
const char* attribute(XmlAttributes attributes, std::string_view name) {
  for (; *attributes; attributes += 2) {
    if (isSameWord(*attributes, name)) return attributes[1];
  }
  return nullptr;
}

std::string_view attributeText(XmlAttributes attributes, std::string_view name) {
  const char* const value = attribute(attributes, name);
  return value ? trimmed(value) : std::string_view();
}

/// The value of an attribute of RDF's, whatever its prefix.
std::string_view rdfAttribute(XmlAttributes attributes, std::string_view name) {
  for (; *attributes; attributes += 2) {
    if (isSameWord(localName(*attributes), name)) return trimmed(attributes[1]);
  }
  return {};
}

bool isPageType(std::string_view type) {
  return isSameWord(type.substr(0, 9), "text/html") || isSameWord(type.substr(0, 21), "application/xhtml+xml");
}

bool isFeedType(std::string_view type) {
  return isSameWord(type.substr(0, 20), "application/atom+xml") ||
         isSameWord(type.substr(0, 19), "application/rss+xml");
}

bool isImageType(std::string_view type) { return isSameWord(type.substr(0, 6), "image/"); }

std::uint8_t rankOfLinkType(std::string_view type) {
  if (isPageType(type)) return 1;
  return type.empty() ? 2 : 3;
}

/// The word that a link relation comes down to: registered ones may be written as addresses.
std::string_view relation(std::string_view rel) {
  constexpr std::string_view kRegistry = "http://www.iana.org/assignments/relation/";
  return rel.starts_with(kRegistry) ? rel.substr(kRegistry.size()) : rel;
}

enum class AtomText : std::uint8_t { None, Plain, Html, Xhtml, Base64, Multipart };

/// What an Atom text is by its attributes; any other element's text is HTML.
AtomText atomText(XmlAttributes attributes) {
  const std::string_view whole = attributeText(attributes, "type");
  const std::string_view type = trimmed(whole.substr(0, whole.find(';')));
  const std::string_view mode = attributeText(attributes, "mode");
  if (isSameWord(type.substr(0, 10), "multipart/")) return AtomText::Multipart;
  const bool isBase64 = isSameWord(mode, "base64");
  const bool isText = type.empty() || type.find('/') == std::string_view::npos ||
                      isSameWord(type.substr(0, 5), "text/") || isSameWord(type, "application/xhtml+xml") ||
                      (isBase64 && isSameWord(type, "application/octet-stream"));
  if (!isText) return AtomText::None;
  if (isBase64) return AtomText::Base64;
  if (isSameWord(type, "xhtml") || isSameWord(type, "application/xhtml+xml")) return AtomText::Xhtml;
  if (isSameWord(type, "html") || isSameWord(type, "text/html") || isSameWord(type, "text/xhtml"))
    return AtomText::Html;
  if (type.empty() && isSameWord(mode, "escaped")) return AtomText::Html;
  const bool isPlain = type.find('/') == std::string_view::npos || isSameWord(type, "text/plain");
  return isPlain ? AtomText::Plain : AtomText::None;
}

std::string formatOfRss(std::string_view version) {
  constexpr std::string_view kVersions[] = {"0.90", "0.91", "0.92", "0.93", "0.94", "1.0", "2.0"};
  for (const std::string_view known : kVersions) {
    if (version == known) return "RSS " + std::string(known);
  }
  if (version == "0.9") return "RSS 0.90";
  if (version.starts_with('2')) return "RSS 2.0";
  return "RSS";
}

bool declares(XmlAttributes attributes, std::string_view part) {
  for (; *attributes; attributes += 2) {
    const std::string_view name = attributes[0];
    if (name.starts_with("xmlns") && std::string_view(attributes[1]).find(part) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

XmlFeedReader::XmlFeedReader(Document& document, std::string_view url) : document_(document), url_(url) { restart(); }

void XmlFeedReader::restart() {
  document_ = Document();
  document_.bases.emplace_back();
  budget_ = {};
  names_ = {};
  open_.clear();
  text_.clear();
  languages_.assign(1, "");
  base_ = lastBaseResult_ = lastOuterBase_ = 0;
  lastBase_.clear();
  relativeBases_ = 0;
  item_ = nullptr;
  isAtom_ = isCutOff_ = false;
  channelRanks_.fill(kNoRank);
}

void XmlFeedReader::cutOff() { isCutOff_ = true; }

void XmlFeedReader::finish() {
  cutOff();
  if (item_) finishItem();
}

void XmlFeedReader::startElement(const char* name, XmlAttributes attributes) {
  static_assert(static_cast<std::size_t>(Field::Count) <= kFields);
  names_.open(attributes);
  Frame frame;
  frame.outerBase = base_;
  frame.textStart = text_.size();
  if (*attributes) startScopes(frame, attributes);
  if (open_.empty()) {
    if (!document_.root.empty()) throw NoFeed();
    startRoot(name, attributes);
  }
  const bool isPartOfText = !open_.empty() && (open_.back().isCaptured || Rules::isRich(open_.back().field));
  if (isPartOfText) {
    startCaptured(frame, name, attributes);
  } else {
    Context outside = open_.empty() ? Context::Document : open_.back().inside;
    if (!item_ && outside >= Context::Ignored) outside = Context::Wrapper;
    const ElementName meaning = open_.empty() ? names_.resolveRoot(name) : names_.resolve(name);
    const Rule& rule = Rules::of(outside, meaning.element);
    frame.element = meaning.element;
    frame.field = rule.field;
    frame.rank = rule.rank;
    frame.inside = rule.inside;
    frame.isAtom = meaning.space == Namespace::Atom10 || meaning.space == Namespace::Atom03 ||
                   (isAtom_ && meaning.space == Namespace::None);
    startField(frame, attributes);
  }
  open_.push_back(frame);
}

void XmlFeedReader::startRoot(const char* name, XmlAttributes attributes) {
  const ElementName meaning = names_.resolveRoot(name);
  document_.root = lowerAscii(localName(name));
  const std::string_view version = attributeText(attributes, "version");
  switch (meaning.element) {
    case Element::Rss:
    case Element::Channel:
      document_.format = formatOfRss(version);
      return;
    case Element::Rdf:
      document_.format = declares(attributes, "netscape.com/rdf/simple/0.9") ? "RSS 0.90" : "RSS 1.0";
      return;
    case Element::Feed:
    case Element::Entry: {
      isAtom_ = true;
      const bool isOld =
          meaning.space == Namespace::Atom03 || (meaning.space != Namespace::Atom10 && version.starts_with("0."));
      document_.format = isOld ? "Atom 0.3" : "Atom 1.0";
      return;
    }
    default:
      throw NoFeed();
  }
}

/// The scopes of `xml:base` and `xml:lang`.
void XmlFeedReader::startScopes(Frame& frame, XmlAttributes attributes) {
  for (; *attributes; attributes += 2) {
    const std::string_view name = attributes[0];
    if (!name.starts_with("xml:")) continue;
    if (name == "xml:base") setBase(frame, trimmed(attributes[1]));
    if (name == "xml:lang") {
      const std::string_view language = trimmed(attributes[1]);
      languages_.emplace_back(language.size() <= kMaxLanguageBytes ? language : std::string_view());
      frame.isLanguageChanged = true;
    }
  }
}

/// Documents name one address again and again.
void XmlFeedReader::setBase(Frame& frame, std::string_view address) {
  if (address.empty()) return;
  if (address != lastBase_ || base_ != lastOuterBase_ || lastBaseResult_ == 0) {
    if (address.size() > kMaxBaseBytes) return;
    if (schemeOf(address).empty() && ++relativeBases_ > kMaxRelativeBases) return;
    std::string absolute = absoluteUrl(address, base_ > 0 ? document_.bases[base_] : url_);
    const std::string scheme = schemeOf(absolute);
    if (absolute.size() > kMaxBaseBytes || (scheme != "http" && scheme != "https")) return;
    budget_.take(absolute.size() + kListedAllowance);
    lastBase_ = address;
    lastOuterBase_ = base_;
    lastBaseResult_ = static_cast<Base>(document_.bases.size());
    document_.bases.push_back(std::move(absolute));
  }
  base_ = lastBaseResult_;
  frame.isBaseChanged = true;
}

void XmlFeedReader::startField(Frame& frame, XmlAttributes attributes) {
  switch (frame.field) {
    case Field::None:
      break;
    case Field::Structure:
      if (document_.channel.language.empty()) document_.channel.language = languages_.back();
      return;
    case Field::Item:
      startItem(attributes);
      return;
    case Field::Link:
    case Field::SourceLink:
    case Field::PictureLink:
      startLink(frame, attributes);
      return;
    case Field::Media:
      startMedia(frame, attributes);
      return;
    case Field::Group:
      groupStart_ = item_->media.size();
      groupTitle_ = {};
      return;
    case Field::Content:
      startContent(frame, attributes);
      return;
    case Field::Id:
      if (frame.element == Element::Guid) {
        frame.isPermaLink = !isSameWord(attributeText(attributes, "isPermaLink"), "false");
      }
      break;
    case Field::Author:
      personName_.clear();
      personMail_.clear();
      break;
    case Field::Category: {
      const std::string_view label =
          attributeText(attributes, frame.element == Element::ItunesCategory ? "text" : "label");
      const std::string_view term = attributeText(attributes, "term");
      if (label.empty() && term.empty()) break;
      keepCategory(label.empty() ? term : label);
      return;
    }
    case Field::Image: {
      const std::string_view href = attributeText(attributes, "href");
      keepAddress(Field::Image, frame.rank, href.empty() ? attributeText(attributes, "url") : href);
      break;
    }
    case Field::Source:
      keepAddress(Field::SourceLink, 0, attributeText(attributes, "url"));
      break;
    case Field::Generator:
      if (frame.element == Element::GeneratorAgent && isBetter(Field::Generator, frame.rank)) {
        document_.channel.generator.text = kept(rdfAttribute(attributes, "resource"));
        return;
      }
      break;
    default:
      break;
  }
  if (frame.element == Element::MediaThumbnail) {
    keepAddress(Field::Image, 0, attributeText(attributes, "url"));
  } else if (Rules::isRich(frame.field)) {
    startText(frame, attributes);
  } else {
    frame.collects = frame.field != Field::None;
  }
}

void XmlFeedReader::startItem(XmlAttributes attributes) {
  if (item_) finishItem();  // its end tag is missing
  budget_.take(kEntryAllowance);
  item_ = &document_.entries.emplace_back();
  itemRanks_.fill(kNoRank);
  item_->language = languages_.back();
  const std::string_view about = rdfAttribute(attributes, "about");
  if (about.empty()) return;
  isBetter(Field::Id, 1);
  item_->id = kept(about);
  item_->mayBeLink = true;
}

void XmlFeedReader::startLink(Frame& frame, XmlAttributes attributes) {
  const std::string_view href = attributeText(attributes, "href");
  if (href.empty()) {
    frame.collects = true;
    return;
  }
  const std::string_view rel = relation(attributeText(attributes, "rel"));
  const std::string_view type = attributeText(attributes, "type");
  if (rel.empty() || hasWord(rel, "alternate")) return keepAddress(frame.field, rankOfLinkType(type), href);
  if (frame.field == Field::SourceLink && hasWord(rel, "self")) return keepAddress(frame.field, 4, href);
  if (frame.field != Field::Link) return;
  if (!item_) {
    if (hasWord(rel, "hub")) keepAddress(Field::Hub, 0, href);
  } else if (hasWord(rel, "enclosure")) {
    Media* const media = keepMedia(href, type);
    if (!media) return;
    media->length = countIn(attributeText(attributes, "length"));
    media->title = {kept(attributeText(attributes, "title"))};
  } else if (hasWord(rel, "replies") && !isFeedType(type)) {
    keepAddress(Field::Comments, rankOfLinkType(type), href);
  }
}

void XmlFeedReader::startText(Frame& frame, XmlAttributes attributes) {
  frame.collects = true;
  frame.kind = TextKind::Html;
  if (!frame.isAtom) {
    frame.isMarkup = frame.element == Element::XhtmlBody || frame.element == Element::XhtmlDiv;
    return;
  }
  const AtomText text = atomText(attributes);
  frame.isMarkup = frame.leavesOutDiv = text == AtomText::Xhtml;
  frame.isBase64 = text == AtomText::Base64;
  if (text == AtomText::Plain) frame.kind = TextKind::Plain;
}

/// Content may be no text, stand elsewhere, or be there in several forms.
void XmlFeedReader::startContent(Frame& frame, XmlAttributes attributes) {
  if (frame.isAtom && frame.element == Element::Content) {
    const AtomText text = atomText(attributes);
    const std::string_view type = attributeText(attributes, "type");
    if (const std::string_view src = attributeText(attributes, "src"); !src.empty()) {
      if (type.empty() || isPageType(type)) {
        keepAddress(Field::Link, 5, src);
      } else {
        keepMedia(src, type);
      }
      frame.field = Field::None;
    }
    if (text == AtomText::None || text == AtomText::Multipart) frame.field = Field::None;
    if (text == AtomText::Multipart) frame.inside = Context::Item;
    if (frame.field == Field::None) return;
    if (text == AtomText::Plain) ++frame.rank;
  }
  startText(frame, attributes);
}

void XmlFeedReader::startMedia(Frame& frame, XmlAttributes attributes) {
  const std::string_view type = attributeText(attributes, "type");
  const std::string_view url = attributeText(attributes, "url");
  const bool isImage = isImageType(type) || isSameWord(attributeText(attributes, "medium"), "image");
  if (isImage) keepAddress(Field::Image, frame.element == Element::MediaContent ? 1 : 4, url);
  Media* const media = keepMedia(url.empty() ? attributeText(attributes, "href") : url, type);
  if (!media) {
    frame.inside = Context::Ignored;
    return;
  }
  const std::string_view length = attributeText(attributes, "length");
  media->length = countIn(length.empty() ? attributeText(attributes, "fileSize") : length);
  media->durationSeconds = durationSeconds(attributeText(attributes, "duration"));
}

/// An element that is a part of a text, be it that the text is XHTML or that somebody forgot to escape it.
void XmlFeedReader::startCaptured(Frame& frame, const char* name, XmlAttributes attributes) {
  Frame& parent = open_.back();
  frame.isCaptured = frame.collects = frame.isMarkup = true;
  frame.inside = Context::Ignored;
  if (!parent.isMarkup) {
    parent.isMarkup = true;
    parent.kind = TextKind::Html;
    if (text_.find('<', parent.textStart) == std::string::npos) {
      const std::string before = text_.substr(parent.textStart);
      text_.resize(parent.textStart);
      appendEscaped(text_, before);
    }
  }
  if (std::exchange(parent.leavesOutDiv, false) && isSameWord(localName(name), "div") && textOf(parent).empty()) {
    frame.isTagLeftOut = true;
    return;
  }
  const std::size_t before = text_.size();
  const bool resolves = (frame.isBaseChanged || parent.isCaptured) && text_.size() < kMaxResolvedText;
  appendStartTag(text_, name, attributes, resolves ? document_.bases[base_] : "");
  budget_.take(text_.size() - before);
}

void XmlFeedReader::characters(std::string_view chunk) {
  if (open_.empty() || !open_.back().collects) return;
  budget_.take(chunk.size());
  if (open_.back().isMarkup) {
    appendEscaped(text_, chunk);
  } else {
    text_ += chunk;
  }
}

void XmlFeedReader::endElement(const char* name) {
  const Frame frame = open_.back();
  open_.pop_back();
  if (frame.isCaptured) {
    if (!frame.isTagLeftOut) appendEndTag(text_, name);
  } else {
    const Context outside = open_.empty() ? Context::Document : open_.back().inside;
    if (frame.field != Field::None) finishField(frame, outside);
    text_.resize(frame.textStart);
  }
  if (frame.isBaseChanged) base_ = frame.outerBase;
  if (frame.isLanguageChanged) languages_.pop_back();
  names_.close();
}

std::string_view XmlFeedReader::textOf(const Frame& frame) const {
  return trimmed(std::string_view(text_).substr(frame.textStart));
}

void XmlFeedReader::finishField(const Frame& frame, Context outside) {
  if (frame.field == Field::Item) {
    if (item_) finishItem();
  } else if (frame.field == Field::Group) {
    finishGroup();
  } else if (frame.field == Field::Author) {
    finishPerson(frame, outside);
  } else if (const std::string_view text = textOf(frame); !text.empty()) {
    finishValue(frame, text);
  }
}

void XmlFeedReader::finishValue(const Frame& frame, std::string_view text) {
  if (Text* const target = textFor(frame)) {
    if (isBetter(frame.field, frame.rank)) finishText(frame, *target);
    return;
  }
  switch (frame.field) {
    case Field::Link:
    case Field::SourceLink:
    case Field::PictureLink:
    case Field::Comments:
    case Field::Image:
      keepAddress(frame.field, frame.rank, text);
      break;
    case Field::Published:
    case Field::Updated:
      keepMoment(frame.field, frame.rank, text);
      break;
    case Field::Id:
      if (isBetter(Field::Id, frame.rank)) keepId(frame, text);
      break;
    case Field::Source:
      if (isBetter(Field::SourceTitle, frame.rank)) item_->source.title = {std::string(text), TextKind::Html};
      break;
    case Field::Category:
      keepCategory(text);
      break;
    case Field::Keywords:
      keepKeywords(text);
      break;
    case Field::Language:
      if (isBetter(Field::Language, frame.rank)) (item_ ? item_->language : document_.channel.language) = text;
      break;
    case Field::Duration:
      if (isBetter(Field::Duration, frame.rank)) item_->durationSeconds = durationSeconds(text);
      break;
    case Field::MediaTitle:
      finishMediaTitle(frame);
      break;
    case Field::PersonName:
      personName_ = text;
      break;
    case Field::PersonMail:
      personMail_ = text;
      break;
    default:
      keepOfChannel(frame.field, text);
  }
}

/// What an RSS channel alone says.
void XmlFeedReader::keepOfChannel(Field field, std::string_view text) {
  constexpr std::int64_t kMaxMinutes = 366 * 24 * 60;
  Channel& channel = document_.channel;
  UpdateRules& rules = document_.rules;
  switch (field) {
    case Field::PictureWidth:
      channel.picture.width = toInt32(text);
      break;
    case Field::PictureHeight:
      channel.picture.height = toInt32(text);
      break;
    case Field::Ttl:
      rules.minutes = std::max(rules.minutes, static_cast<std::int32_t>(std::min(countIn(text), kMaxMinutes)));
      break;
    case Field::Hour:
      rules.skipHours |= hourBit(text);
      break;
    case Field::Day:
      rules.skipDays |= dayBit(text);
      break;
    case Field::UpdateBase:
      channel.updateBase = readDate(text);
      break;
    case Field::UpdatePeriod:
      channel.updatePeriod = text;
      break;
    case Field::UpdateFrequency:
      channel.updateFrequency = toInt32(text);
      break;
    default:
      break;
  }
}

/// Where a text that may be markup goes; null for any other field.
Text* XmlFeedReader::textFor(const Frame& frame) {
  Channel& channel = document_.channel;
  switch (frame.field) {
    case Field::Title:
      return item_ ? &item_->title : &channel.title;
    case Field::Summary:
      return item_ ? &item_->summary : &channel.description;
    case Field::Content:
      return &item_->content;
    case Field::SourceTitle:
      return &item_->source.title;
    case Field::Rights:
      return &channel.rights;
    case Field::Generator:
      return &channel.generator;
    case Field::PictureTitle:
      return &channel.picture.title;
    case Field::PictureDescription:
      return &channel.picture.description;
    default:
      return nullptr;
  }
}

void XmlFeedReader::keepId(const Frame& frame, std::string_view id) {
  item_->id = id;
  item_->isPermaLink = frame.isPermaLink;
  item_->mayBeLink = frame.isPermaLink || frame.element != Element::Guid;
}

/// A file's title, or that of a group of files.
void XmlFeedReader::finishMediaTitle(const Frame& frame) {
  if (frame.rank == 1) {
    finishText(frame, groupTitle_);
  } else if (!item_->media.empty()) {
    finishText(frame, item_->media.back().title);
  }
}

void XmlFeedReader::finishText(const Frame& frame, Text& text) {
  text.kind = frame.kind;
  text.base = base_;
  if (frame.isBase64) {
    const std::string bytes = decodedBase64(textOf(frame));
    if (bytes.find('\0') == std::string::npos) text.text = decodeDocument(bytes, "").text;
  } else {
    text.text = textOf(frame);
  }
}

/// An author has members, or is a text.
void XmlFeedReader::finishPerson(const Frame& frame, Context outside) {
  const std::string_view member = personName_.empty() ? personMail_ : personName_;
  const std::string_view person = member.empty() ? textOf(frame) : member;
  if (person.empty()) return;
  if (outside == Context::Source) {
    if (item_->source.authors.size() < kMaxListed) item_->source.authors.push_back(kept(person));
  } else {
    keepAuthor(member.empty() ? frame.rank : 1, person);
  }
}

void XmlFeedReader::finishGroup() {
  for (std::size_t i = groupStart_; i < item_->media.size(); ++i) {
    if (item_->media[i].title.text.empty()) item_->media[i].title = groupTitle_;
  }
}

void XmlFeedReader::finishItem() {
  if (isCutOff_) document_.entries.pop_back();
  item_ = nullptr;
}

/// Whether a value of `rank` takes the place of what the field has; then the field has this rank.
bool XmlFeedReader::isBetter(Field field, std::uint8_t rank) {
  std::uint8_t& current = (item_ ? itemRanks_ : channelRanks_)[static_cast<std::size_t>(field)];
  if (rank >= current) return false;
  current = rank;
  return true;
}

Address* XmlFeedReader::addressOf(Field field) {
  switch (field) {
    case Field::Link:
      return item_ ? &item_->link : &document_.channel.link;
    case Field::Image:
      return item_ ? &item_->image : &document_.channel.picture.url;
    case Field::Comments:
      return &item_->comments;
    case Field::SourceLink:
      return &item_->source.url;
    case Field::PictureLink:
      return &document_.channel.picture.link;
    default:
      return &document_.channel.hub;
  }
}

void XmlFeedReader::keepAddress(Field field, std::uint8_t rank, std::string_view address) {
  if (!address.empty() && isBetter(field, rank)) *addressOf(field) = {kept(address), base_};
}

/// What is no date leaves the place to the next one.
void XmlFeedReader::keepMoment(Field field, std::uint8_t rank, std::string_view date) {
  const CTime moment = readDate(date);
  if (moment == CTime() || !isBetter(field, rank)) return;
  const bool isPublished = field == Field::Published;
  if (item_) {
    (isPublished ? item_->published : item_->updated) = moment;
  } else {
    (isPublished ? document_.channel.published : document_.channel.updated) = moment;
  }
}

void XmlFeedReader::keepCategory(std::string_view category) {
  std::vector<std::string>& categories = item_ ? item_->categories : document_.channel.categories;
  if (categories.size() == kMaxListed) return;
  budget_.take(kListedAllowance);
  categories.push_back(kept(category));
}

void XmlFeedReader::keepKeywords(std::string_view keywords) {
  while (!keywords.empty()) {
    const std::size_t comma = std::min(keywords.find(','), keywords.size());
    if (const std::string_view keyword = trimmed(keywords.substr(0, comma)); !keyword.empty()) keepCategory(keyword);
    keywords.remove_prefix(std::min(comma + 1, keywords.size()));
  }
}

/// Authors of the best rank count, all of them.
void XmlFeedReader::keepAuthor(std::uint8_t rank, std::string_view person) {
  std::vector<std::string>& authors = item_ ? item_->authors : document_.channel.authors;
  if (isBetter(Field::Author, rank)) {
    authors.clear();
  } else if ((item_ ? itemRanks_ : channelRanks_)[static_cast<std::size_t>(Field::Author)] != rank) {
    return;
  }
  if (authors.size() == kMaxListed) return;
  budget_.take(kListedAllowance);
  authors.push_back(kept(person));
}

/// Null for one that is not kept.
Media* XmlFeedReader::keepMedia(std::string_view url, std::string_view type) {
  if (url.empty() || item_->media.size() == kMaxListed) return nullptr;
  budget_.take(kMediaAllowance);
  Media& media = item_->media.emplace_back();
  media.url = {kept(url), base_};
  media.type = kept(type);
  return &media;
}

/// A copy of `text`, which no element has collected.
std::string XmlFeedReader::kept(std::string_view text) {
  budget_.take(text.size());
  return std::string(text);
}

}  // namespace quillmoria
