#include "xml/XmlMender.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/Text.h"
#include "xml/HtmlReferences.h"

namespace quillmoria {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::size_t kMaxReferenceBytes = 32;
constexpr std::size_t kMaxEntities = 1'000;

/// What may not be closed by the end tag of a lower one.
enum class Rank : std::uint8_t { Markup, Part, Item, Channel, Root };
constexpr std::size_t kRanks = 5;

struct RankedName {
  std::string_view name;
  Rank rank;
};

/// Sorted by name; all others are markup.
constexpr RankedName kRankedNames[] = {
    {"author", Rank::Part},    {"category", Rank::Part},    {"channel", Rank::Channel},
    {"comments", Rank::Part},  {"content", Rank::Part},     {"content:encoded", Rank::Part},
    {"copyright", Rank::Part}, {"dc:creator", Rank::Part},  {"dc:date", Rank::Part},
    {"dc:title", Rank::Part},  {"description", Rank::Part}, {"entry", Rank::Item},
    {"feed", Rank::Root},      {"guid", Rank::Part},        {"id", Rank::Part},
    {"image", Rank::Part},     {"item", Rank::Item},        {"language", Rank::Part},
    {"link", Rank::Part},      {"pubDate", Rank::Part},     {"published", Rank::Part},
    {"rdf:RDF", Rank::Root},   {"rights", Rank::Part},      {"rss", Rank::Root},
    {"source", Rank::Part},    {"subtitle", Rank::Part},    {"summary", Rank::Part},
    {"textInput", Rank::Part}, {"textinput", Rank::Part},   {"title", Rank::Part},
    {"updated", Rank::Part},
};
static_assert(std::ranges::is_sorted(kRankedNames, {}, &RankedName::name));

/// HTML's elements without an end tag, but those whose names feeds use for something else, and what feeds have of that
/// kind.
constexpr std::string_view kEmptyElements[] = {"area",  "base",      "basefont", "br",    "col",
                                               "embed", "enclosure", "frame",    "hr",    "img",
                                               "input", "meta",      "param",    "track", "wbr"};
static_assert(std::ranges::is_sorted(kEmptyElements));

constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool beginsName(char c) { return isLetter(c) || c == '_' || c == ':'; }
constexpr bool continuesName(char c) { return beginsName(c) || isDigit(c) || c == '-' || c == '.'; }

constexpr std::array<bool, 256> bytesOf(std::string_view characters) {
  std::array<bool, 256> bytes{};
  for (const char c : characters) bytes[static_cast<unsigned char>(c)] = true;
  return bytes;
}
constexpr auto kSpecial = bytesOf("&<>\"");

Rank rankOf(std::string_view name) {
  const auto found = std::ranges::lower_bound(kRankedNames, name, {}, &RankedName::name);
  return found != std::end(kRankedNames) && found->name == name ? found->rank : Rank::Markup;
}

bool isEmptyElement(std::string_view name) {
  constexpr std::size_t kLongest = 9;
  if (name.size() > kLongest) return false;
  char lower[kLongest];
  std::ranges::transform(name, lower, [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
  return std::ranges::binary_search(kEmptyElements, std::string_view(lower, name.size()));
}

bool isXmlCharacter(char32_t point) {
  if (point < 0x20) return point == '\t' || point == '\n' || point == '\r';
  return point < 0xD800 || (point > 0xDFFF && point < 0xFFFE) || (point > 0xFFFF && point <= 0x10FFFF);
}

int digitOf(char c, bool isHex) {
  if (isDigit(c)) return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return isHex && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

struct Attribute {
  std::string_view name;
  std::string_view value;
};

/// Where the next occurrence of `sought` is. Looks at no byte twice as long as the places asked about go on.
class Finder {
 public:
  Finder(std::string_view text, std::string_view sought) : text_(text), sought_(sought) {}

  std::size_t from(std::size_t at) {
    if (at < from_ || at > found_) {
      from_ = at;
      found_ = text_.find(sought_, at);
    }
    return found_;
  }

 private:
  const std::string_view text_;
  const std::string_view sought_;
  std::size_t from_ = 1;
  std::size_t found_ = 0;
};

/// A tag as it stands in the text.
struct Tag {
  std::string_view name;
  std::vector<Attribute> attributes;
  bool isEmpty = false;
  bool isCutOff = false;  ///< the text ends inside of it
};

class Mender {
 public:
  explicit Mender(std::string_view text) : text_(text) { out_.reserve(text.size() + text.size() / 16); }

  MendedXml mend() && {
    while (at_ < text_.size() && !isRootClosed_) {
      if (text_[at_] == '<') {
        readMarkup();
      } else {
        const std::size_t end = std::min(text_.find('<', at_), text_.size());
        writeText(text_.substr(at_, end - at_));
        at_ = end;
      }
    }
    settleEmptyElement();
    return {std::move(out_), missingEnds(), wasMended_ || !stack_.empty()};
  }

 private:
  /// An element that is open.
  struct Open {
    std::string_view name;
    Rank rank;
    std::size_t below;        ///< the next one below of the same name
    std::size_t belowRanked;  ///< the next one below of the same rank
  };

  void readMarkup() {
    const std::string_view text = text_.substr(at_);
    if (text.starts_with("<!--")) return skipComment();
    if (text.starts_with("<![CDATA[")) return readCdata();
    if (text.starts_with("<?")) return skipInstruction();
    if (text.size() > 2 && text[1] == '!' && isLetter(text[2])) return skipDeclaration();
    if (text.size() > 2 && text[1] == '/' && beginsName(text[2])) return readEndTag();
    if (text.size() > 1 && beginsName(text[1])) return readStartTag();
    readLoneSign();
  }

  /// The `<` that comes next is text, or the document's last byte.
  void readLoneSign() {
    wasMended_ = true;
    writeText(text_.substr(at_++, 1));
  }

  void skipComment() {
    const std::size_t end = commentEnd_.from(at_ + 4);
    if (end == kNone) wasMended_ = true;
    at_ = end == kNone ? text_.size() : end + 3;
  }

  void skipInstruction() {
    if (const std::size_t end = instructionEnd_.from(at_ + 2); end != kNone) {
      at_ = end + 2;
      return;
    }
    wasMended_ = true;
    const std::size_t close = close_.from(at_);
    at_ = close == kNone ? text_.size() : close + 1;
  }

  void readCdata() {
    constexpr std::string_view kBegin = "<![CDATA[";
    constexpr std::string_view kEnd = "]]>";
    const std::size_t begin = at_ + kBegin.size();
    const std::size_t end = text_.find(kEnd, begin);
    const std::string_view content = text_.substr(begin, end == kNone ? kNone : end - begin);
    if (stack_.empty() || end == kNone) wasMended_ = true;
    if (!stack_.empty()) ((out_ += kBegin) += content) += kEnd;
    at_ = end == kNone ? text_.size() : end + kEnd.size();
  }

  /// A document type with what it declares, or something of that look.
  void skipDeclaration() {
    std::size_t end = kNone;
    if (stack_.empty() && !hasOpenDocumentType_) {
      end = documentTypeEnd();
      hasOpenDocumentType_ = end == kNone;
      if (end != kNone) readEntities(end);
    }
    if (!stack_.empty() || hasOpenDocumentType_) {
      wasMended_ = true;
      end = close_.from(at_);
    }
    at_ = end == kNone ? text_.size() : end + 1;
  }

  std::size_t documentTypeEnd() const {
    bool isInside = false;
    for (std::size_t at = at_; at < text_.size(); ++at) {
      const char c = text_[at];
      if (c == '[') isInside = true;
      if (c == ']') isInside = false;
      if (c == '>' && !isInside) return at;
      const bool isComment = c == '<' && text_.substr(at).starts_with("<!--");
      if (c != '"' && c != '\'' && !isComment) continue;
      at = isComment ? text_.find("-->", at + 4) : text_.find(c, at + 1);
      if (at == kNone) return kNone;
    }
    return kNone;
  }

  /// Notes the texts that the document type which ends at `end` gives names to.
  void readEntities(std::size_t end) {
    constexpr std::string_view kBegin = "<!ENTITY";
    const std::string_view declarations = text_.substr(0, end);
    for (std::size_t at = at_; (at = declarations.find(kBegin, at)) != kNone;) {
      at = spaceEnd(at + kBegin.size());
      const std::string_view name = nameAt(at);
      const std::size_t quote = spaceEnd(at + name.size());
      if (name.empty() || quote >= end || (text_[quote] != '"' && text_[quote] != '\'')) continue;
      const std::size_t close = (text_[quote] == '"' ? doubleQuote_ : singleQuote_).from(quote + 1);
      if (close > end || entities_.size() == kMaxEntities) return;
      entities_.try_emplace(name, text_.substr(quote + 1, close - quote - 1));
      at = close;
    }
  }

  std::string_view nameAt(std::size_t at) const {
    std::size_t end = at;
    while (end < text_.size() && continuesName(text_[end])) ++end;
    return text_.substr(at, end - at);
  }

  void readEndTag() {
    const std::string_view name = nameAt(at_ + 2);
    const std::size_t afterName = at_ + 2 + name.size();
    std::size_t end = afterName;
    while (end < text_.size() && text_[end] != '>' && text_[end] != '<') ++end;
    if (end == text_.size()) {
      wasMended_ = true;
      at_ = end;
      return;
    }
    for (std::size_t at = afterName; at < end; ++at) wasMended_ = wasMended_ || !isSpace(text_[at]);
    if (text_[end] == '<') wasMended_ = true;
    at_ = text_[end] == '>' ? end + 1 : end;
    closeByTag(name);
  }

  void closeByTag(std::string_view name) {
    if (emptyElement_ != name) settleEmptyElement();
    emptyElement_ = {};
    const auto open = open_.find(name);
    if (open == open_.end() && meansInnermost(name)) {
      wasMended_ = true;
      return close();
    }
    const bool isClosable = open != open_.end() && open->second >= barrierOf(rankOf(name));
    if (!isClosable || open->second + 1 != stack_.size()) wasMended_ = true;
    if (isClosable) closeDownTo(open->second);
  }

  /// Whether the innermost open element is called `name` but for the case of its letters.
  bool meansInnermost(std::string_view name) const {
    return !stack_.empty() && stack_.back().name.size() == name.size() &&
           lowerAscii(stack_.back().name) == lowerAscii(name);
  }

  /// What an element of `rank` cannot close lies below this height.
  std::size_t barrierOf(Rank rank) const {
    std::size_t barrier = 0;
    for (std::size_t higher = static_cast<std::size_t>(rank) + 1; higher < kRanks; ++higher) {
      if (ranked_[higher] != kNone) barrier = std::max(barrier, ranked_[higher] + 1);
    }
    return barrier;
  }

  void closeDownTo(std::size_t height) {
    while (stack_.size() > height) close();
  }

  void close() {
    const Open last = stack_.back();
    stack_.pop_back();
    ((out_ += "</") += last.name) += '>';
    ranked_[static_cast<std::size_t>(last.rank)] = last.belowRanked;
    if (last.below == kNone) {
      open_.erase(last.name);
    } else {
      open_[last.name] = last.below;
    }
    isRootClosed_ = stack_.empty();
  }

  void push(std::string_view name, Rank rank) {
    std::size_t& ranked = ranked_[static_cast<std::size_t>(rank)];
    const auto [open, isFirst] = open_.try_emplace(name, stack_.size());
    stack_.push_back({name, rank, isFirst ? kNone : open->second, ranked});
    open->second = ranked = stack_.size() - 1;
  }

  void readStartTag() {
    tag_ = {nameAt(at_ + 1), std::move(tag_.attributes), false, false};
    tag_.attributes.clear();
    const std::size_t end = readAttributes(at_ + 1 + tag_.name.size());
    if (end == kNone) return readLoneSign();
    at_ = end;
    if (tag_.isCutOff) return;
    settleEmptyElement();
    if (!isRootClosed_) writeStartTag();
  }

  /// Reads what follows a tag's name; the end of the tag, or none if it is no tag.
  std::size_t readAttributes(std::size_t at) {
    bool hasQuotes = false;
    while (at < text_.size()) {
      const char c = text_[at];
      if (c == '>') return at + 1;
      if (c == '<') return noteMended(hasQuotes ? at : kNone);
      if (isSpace(c)) {
        ++at;
      } else if (c == '/') {
        tag_.isEmpty = at + 1 < text_.size() && text_[at + 1] == '>';
        if (!tag_.isEmpty) wasMended_ = true;
        ++at;
      } else if (beginsName(c)) {
        if (!isSpace(text_[at - 1])) wasMended_ = true;
        at = readAttribute(at, hasQuotes);
      } else {
        wasMended_ = true;
        ++at;
      }
    }
    wasMended_ = tag_.isCutOff = true;
    return at;
  }

  std::size_t noteMended(std::size_t value) {
    wasMended_ = true;
    return value;
  }

  std::size_t spaceEnd(std::size_t at) const {
    while (at < text_.size() && isSpace(text_[at])) ++at;
    return at;
  }

  /// Reads the attribute whose name is at `at`, and gives where it ends.
  std::size_t readAttribute(std::size_t at, bool& hasQuotes) {
    Attribute& attribute = tag_.attributes.emplace_back();
    attribute.name = nameAt(at);
    at += attribute.name.size();
    const std::size_t sign = spaceEnd(at);
    if (sign == text_.size() || text_[sign] != '=') return noteMended(at);

    at = spaceEnd(sign + 1);
    if (at == text_.size()) return at;
    if (text_[at] == '"' || text_[at] == '\'') {
      hasQuotes = true;
      return readQuotedValue(at, attribute);
    }
    std::size_t end = at;
    while (end < text_.size() && !isSpace(text_[end]) && text_[end] != '>' && text_[end] != '<') ++end;
    const bool isEnd = end > at && end < text_.size() && text_[end] == '>' && text_[end - 1] == '/';
    if (isEnd && !stack_.empty()) --end;  // a root is not empty
    attribute.value = text_.substr(at, end - at);
    return noteMended(end);
  }

  /// A value whose first `<` stands behind a `>` has lost its closing quote.
  std::size_t readQuotedValue(std::size_t quote, Attribute& attribute) {
    const std::size_t begin = quote + 1;
    const std::size_t found = (text_[quote] == '"' ? doubleQuote_ : singleQuote_).from(begin);
    const std::size_t close = close_.from(begin);
    const std::size_t end = std::min(found, text_.size());
    const std::size_t open = text_.substr(begin, end - begin).find('<');
    const bool isClosed = found != kNone && (open == kNone || close > end || begin + open < close);
    const std::size_t valueEnd = isClosed ? end : std::min(close, text_.size());
    attribute.value = text_.substr(begin, valueEnd - begin);
    if (!isClosed) wasMended_ = true;
    return isClosed ? valueEnd + 1 : valueEnd;
  }

  void writeStartTag() {
    const Rank rank = rankOf(tag_.name);
    const std::size_t openItem = ranked_[static_cast<std::size_t>(Rank::Item)];
    if (rank == Rank::Item && openItem != kNone) {
      wasMended_ = true;
      closeDownTo(openItem);
      if (isRootClosed_) return;
    }
    (out_ += '<') += tag_.name;
    writeAttributes();
    out_ += '>';
    push(tag_.name, rank);
    if (tag_.isEmpty) {
      close();
    } else if (isEmptyElement(tag_.name)) {
      emptyElement_ = tag_.name;
      emptyElementAt_ = out_.size();
    }
  }

  void writeAttributes() {
    names_.clear();
    for (const Attribute& attribute : tag_.attributes) {
      if (isRepeated(attribute)) {
        wasMended_ = true;
        continue;
      }
      ((out_ += ' ') += attribute.name) += "=\"";
      writeReferences(attribute.value, true);
      out_ += '"';
    }
  }

  /// Whether the tag has an attribute of that name before `attribute`. Asked for one after another.
  bool isRepeated(const Attribute& attribute) {
    constexpr std::size_t kFew = 16;
    const std::vector<Attribute>& all = tag_.attributes;
    if (all.size() > kFew) return !names_.insert(attribute.name).second;
    const auto hasItsName = [&attribute](const Attribute& other) { return other.name == attribute.name; };
    return &*std::ranges::find_if(all, hasItsName) != &attribute;
  }

  /// Another tag has come than the end tag of HTML's empty element that is open: that one ended where it began.
  void settleEmptyElement() {
    if (emptyElement_.empty()) return;
    wasMended_ = true;
    const std::string inside = out_.substr(emptyElementAt_);
    out_.resize(emptyElementAt_);
    emptyElement_ = {};
    close();
    if (!isRootClosed_) out_ += inside;
  }

  void writeText(std::string_view text) {
    if (!stack_.empty()) return writeReferences(text, false);
    if (!std::ranges::all_of(text, isSpace)) wasMended_ = true;
  }

  void writeReferences(std::string_view text, bool isValue) {
    while (!text.empty()) {
      const auto isPlain = [](char c) { return !kSpecial[static_cast<unsigned char>(c)]; };
      const auto plain = static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
      out_ += text.substr(0, plain);
      text.remove_prefix(plain);
      if (!text.empty()) writeSpecial(text, isValue);
    }
  }

  /// Writes the character or reference at the beginning of `text` and moves past it.
  void writeSpecial(std::string_view& text, bool isValue) {
    if (text.front() == '&') return writeReference(text, isValue);
    if (text.front() == '<') {
      wasMended_ = true;
      out_ += "&lt;";
    } else if (text.front() == '"' && isValue) {
      out_ += "&quot;";
    } else if (text.front() == '>' && out_.ends_with("]]")) {
      if (!isValue) wasMended_ = true;
      out_ += "&gt;";
    } else {
      out_ += text.front();
    }
    text.remove_prefix(1);
  }

  void writeReference(std::string_view& text, bool isValue) {
    if (text.size() > 1 && text[1] == '#' && writeNumber(text)) return;
    constexpr std::string_view kOfXml[] = {"&lt;", "&gt;", "&amp;", "&quot;", "&apos;"};
    for (const std::string_view reference : kOfXml) {
      if (!text.starts_with(reference)) continue;
      out_ += reference;
      return text.remove_prefix(reference.size());
    }
    const std::size_t end = text.substr(0, kMaxReferenceBytes).find(';');
    const std::string_view name = end == kNone ? "" : text.substr(1, end - 1);
    if (writeEntity(name, isValue)) return text.remove_prefix(end + 1);
    if (const char32_t character = characterOfHtmlName(name)) {
      writeCharacter(character);
      return text.remove_prefix(end + 1);
    }
    wasMended_ = true;
    out_ += "&amp;";
    text.remove_prefix(1);
  }

  /// Writes the text that the document has given `name`, as text. False if there is none, or if such texts are longer
  /// than the document by now.
  bool writeEntity(std::string_view name, bool isValue) {
    const auto entity = isInEntity_ || entities_.empty() ? entities_.end() : entities_.find(name);
    if (entity == entities_.end() || entity->second.size() > entityBytesLeft_) return false;
    entityBytesLeft_ -= entity->second.size();
    isInEntity_ = true;
    writeReferences(entity->second, isValue);
    isInEntity_ = false;
    return true;
  }

  void writeCharacter(char32_t character) {
    ((out_ += "&#") += std::to_string(static_cast<std::uint32_t>(character))) += ';';
  }

  /// Writes the numeric reference that `text` begins with, perhaps without its semicolon. False if there is none.
  bool writeNumber(std::string_view& text) {
    constexpr char32_t kTooMany = 0x110000;
    const bool isHex = text.size() > 2 && (text[2] == 'x' || text[2] == 'X');
    const std::size_t begin = isHex ? 3 : 2;
    std::size_t end = begin;
    char32_t point = 0;
    for (; end < text.size() && digitOf(text[end], isHex) >= 0; ++end) {
      const auto digit = static_cast<char32_t>(digitOf(text[end], isHex));
      point = std::min<char32_t>(point * (isHex ? 16 : 10) + digit, kTooMany);
    }
    if (end == begin) return false;
    const bool isClosed = end < text.size() && text[end] == ';';
    if (!isClosed || text[2] == 'X' || !isXmlCharacter(point)) wasMended_ = true;
    if (isXmlCharacter(point)) writeCharacter(characterOfHtmlNumber(point));
    text.remove_prefix(isClosed ? end + 1 : end);
    return true;
  }

  std::string missingEnds() const {
    std::string ends;
    for (auto open = stack_.rbegin(); open != stack_.rend(); ++open) ((ends += "</") += open->name) += '>';
    return ends;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  std::string out_;
  bool wasMended_ = false;
  bool isRootClosed_ = false;

  std::vector<Open> stack_;
  std::map<std::string_view, std::size_t> open_;                               ///< the topmost of each name
  std::array<std::size_t, kRanks> ranked_{kNone, kNone, kNone, kNone, kNone};  ///< the topmost of each rank

  Tag tag_;
  std::set<std::string_view> names_;  ///< of the tag's attributes, where there are many

  std::string_view emptyElement_;  ///< HTML's, whose start tag was the last tag
  std::size_t emptyElementAt_ = 0;

  std::map<std::string_view, std::string_view> entities_;  ///< the texts that the document gives names to
  std::size_t entityBytesLeft_ = text_.size();
  bool isInEntity_ = false;  ///< of the names in the text of one, only HTML's count

  Finder commentEnd_{text_, "-->"};
  Finder instructionEnd_{text_, "?>"};
  Finder close_{text_, ">"};
  Finder doubleQuote_{text_, "\""};
  Finder singleQuote_{text_, "'"};
  bool hasOpenDocumentType_ = false;  ///< one without an end, which is not looked for again
};

}  // namespace

MendedXml mendXml(std::string_view text) { return Mender(text).mend(); }

}  // namespace quillmoria
