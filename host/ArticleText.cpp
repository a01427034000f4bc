#include "ArticleText.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// As deep as safe HTML goes; elements further in are read as if their tags were not there.
constexpr std::size_t kMaxDepth = 256;

/// What parts an element from what stands before and after it.
enum class Gap : std::uint8_t { None, Line, Paragraph };

/// What else an element does.
enum class Role : std::uint8_t {
  Plain,
  Bullets,
  Numbers,
  Point,
  Meaning,
  Quote,
  Heading,
  Verbatim,
  Cell,
  Link,
  Quotation,
  Power,
  Media,
  Source,
  Picture,
  LineBreak,
  Rule,
};

struct Element {
  std::string_view name;
  Role role = Role::Plain;
  Gap gap = Gap::None;
  bool isEmpty = false;  ///< has no end tag
};

/// Sorted by name. Of all others only what they hold is shown.
constexpr Element kElements[] = {
    {"a", Role::Link},
    {"address", Role::Plain, Gap::Paragraph},
    {"article", Role::Plain, Gap::Line},
    {"aside", Role::Plain, Gap::Paragraph},
    {"audio", Role::Media},
    {"blockquote", Role::Quote, Gap::Paragraph},
    {"br", Role::LineBreak, Gap::None, true},
    {"caption", Role::Plain, Gap::Line},
    {"dd", Role::Meaning, Gap::Line},
    {"details", Role::Plain, Gap::Paragraph},
    {"div", Role::Plain, Gap::Line},
    {"dl", Role::Plain, Gap::Paragraph},
    {"dt", Role::Plain, Gap::Line},
    {"figcaption", Role::Plain, Gap::Line},
    {"figure", Role::Plain, Gap::Paragraph},
    {"footer", Role::Plain, Gap::Line},
    {"h1", Role::Heading, Gap::Paragraph},
    {"h2", Role::Heading, Gap::Paragraph},
    {"h3", Role::Heading, Gap::Paragraph},
    {"h4", Role::Heading, Gap::Paragraph},
    {"h5", Role::Heading, Gap::Paragraph},
    {"h6", Role::Heading, Gap::Paragraph},
    {"header", Role::Plain, Gap::Line},
    {"hgroup", Role::Plain, Gap::Line},
    {"hr", Role::Rule, Gap::Paragraph, true},
    {"img", Role::Picture, Gap::None, true},
    {"li", Role::Point, Gap::Line},
    {"main", Role::Plain, Gap::Line},
    {"nav", Role::Plain, Gap::Line},
    {"ol", Role::Numbers, Gap::Paragraph},
    {"p", Role::Plain, Gap::Paragraph},
    {"pre", Role::Verbatim, Gap::Paragraph},
    {"q", Role::Quotation},
    {"section", Role::Plain, Gap::Line},
    {"source", Role::Source, Gap::None, true},
    {"summary", Role::Plain, Gap::Line},
    {"sup", Role::Power},
    {"table", Role::Plain, Gap::Paragraph},
    {"td", Role::Cell},
    {"th", Role::Cell},
    {"tr", Role::Plain, Gap::Line},
    {"ul", Role::Bullets, Gap::Paragraph},
    {"video", Role::Media, Gap::Line},
};
static_assert(std::ranges::is_sorted(kElements, {}, &Element::name));

const Element* elementNamed(std::string_view name) {
  const Element* const found = std::ranges::lower_bound(kElements, name, {}, &Element::name);
  return found != std::end(kElements) && found->name == name ? found : nullptr;
}

struct Reference {
  std::string_view name;
  char character;
};

constexpr Reference kReferences[] = {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}};

/// `text` with the characters that its references stand for.
std::string resolved(std::string_view text) {
  std::string characters;
  characters.reserve(text.size());
  while (!text.empty()) {
    const std::string_view plain = text.substr(0, text.find('&'));
    characters += plain;
    text.remove_prefix(plain.size());
    if (text.empty()) break;
    const auto* const reference =
        std::ranges::find_if(kReferences, [text](const Reference& one) { return text.starts_with(one.name); });
    const bool isKnown = reference != std::end(kReferences);
    characters += isKnown ? reference->character : '&';
    text.remove_prefix(isKnown ? reference->name.size() : 1);
  }
  return characters;
}

bool beginsWithNumber(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

std::optional<std::int64_t> numberIn(const std::optional<std::string>& text) {
  std::int32_t number = 0;
  if (!text) return std::nullopt;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  return error == std::errc() ? std::optional<std::int64_t>(number) : std::nullopt;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// A tag, as views into the text that it was read from.
struct Tag {
  bool isEnd = false;
  std::string_view name;
  std::string_view attributes;  ///< as they stand

  /// The value of an attribute; nothing if it is not there.
  std::optional<std::string> value(std::string_view attribute) const;
};

std::optional<std::string> Tag::value(std::string_view attribute) const {
  std::string_view rest = attributes;
  for (std::size_t equals; (equals = rest.find("=\"")) != std::string_view::npos;) {
    const std::string_view found = rest.substr(0, equals);
    rest.remove_prefix(equals + 2);
    const std::string_view value = rest.substr(0, rest.find('"'));
    rest.remove_prefix(std::min(value.size() + 1, rest.size()));
    if (found.substr(found.find_last_of(' ') + 1) == attribute) return resolved(value);
  }
  return std::nullopt;
}

/// Where the tag that `html` begins with ends: at the first ">" outside of quotes; npos if it does not.
std::size_t tagEnd(std::string_view html) {
  bool isQuoted = false;
  for (std::size_t i = 0; i < html.size(); ++i) {
    if (html[i] == '"') isQuoted = !isQuoted;
    if (html[i] == '>' && !isQuoted) return i;
  }
  return std::string_view::npos;
}

/// Takes a tag off `html`, if it begins with one. One that does not end takes all of it.
std::optional<Tag> takeTag(std::string_view& html) {
  if (!html.starts_with('<')) return std::nullopt;
  const bool isEnd = html.starts_with("</");
  const std::size_t begin = isEnd ? 2 : 1;
  if (html.size() <= begin || !isLetter(html[begin])) return std::nullopt;
  const std::size_t end = tagEnd(html);
  std::string_view inside = html.substr(0, end).substr(begin);
  html.remove_prefix(end == std::string_view::npos ? html.size() : end + 1);
  const std::string_view name = inside.substr(0, inside.find_first_of(" /"));
  inside.remove_prefix(name.size());
  return Tag{isEnd, name, inside};
}

/// The addresses that an article leads to, each with its number.
class LinkList {
 public:
  std::size_t numberOf(const std::string& address) {
    const auto [entry, isNew] = numbers_.try_emplace(address, addresses_.size() + 1);
    if (isNew) addresses_.push_back(&entry->first);
    return entry->second;
  }

  void write(const LineSink& sink) const {
    for (std::size_t i = 0; i < addresses_.size(); ++i) {
      if (i == 0) sink("");
      sink(printable("[" + std::to_string(i + 1) + "] " + withoutUserInformation(*addresses_[i])));
    }
  }

 private:
  std::unordered_map<std::string, std::size_t> numbers_;
  std::vector<const std::string*> addresses_;
};

/// Turns the tags and texts of an article into lines.
class ArticleWriter {
 public:
  ArticleWriter(std::size_t columns, const LineSink& sink) : layout_(columns, sink), sink_(sink) {}

  void write(std::string_view html);

 private:
  /// An element that has begun.
  struct Open {
    const Element* element;
    std::string address;            ///< of a link
    std::size_t writtenBefore = 0;  ///< TextLayout::written when it began
    std::int64_t number = 1;        ///< of the next point of a list
    bool isIndented = false;
  };

  void writeText(std::string_view text);
  void start(const Tag& tag);
  void startRole(const Tag& tag, const Element& element, Open& open);
  void startPoint(const Tag& tag, Open& open);
  void startMedia(const Tag& tag, const Element& element);
  void writePicture(const Tag& tag);
  void breakLine();
  void end(std::string_view name);
  void endLast();
  void part(Gap gap);
  void indent(Open& open, std::string_view first, std::string_view rest);
  void writeNumber(const std::string& address);
  bool isInside(Role role) const;
  Gap gapOf(const Element& element) const;

  TextLayout layout_;
  const LineSink& sink_;
  LinkList links_;
  std::vector<Open> open_;
  std::size_t flattened_ = 0;      ///< elements that are too deep to be known and have not ended
  std::size_t verbatimCount_ = 0;  ///< open elements whose text is shown as it stands
  std::size_t mediaCount_ = 0;     ///< and of those whose text is for programs that cannot play them
  bool isSourceWanted_ = false;    ///< the address of what is to be played comes in an element of its own
  bool isVerbatimStart_ = false;   ///< a line break that comes first is none
  bool isPowerStart_ = false;      ///< a number that comes next is raised
};

void ArticleWriter::write(std::string_view html) {
  while (!html.empty()) {
    if (const std::optional<Tag> tag = takeTag(html)) {
      tag->isEnd ? end(tag->name) : start(*tag);
      continue;
    }
    const std::string_view text = html.substr(0, html.find('<', 1));
    writeText(text);
    html.remove_prefix(text.size());
  }
  while (!open_.empty()) endLast();
  layout_.endLine();
  links_.write(sink_);
}

void ArticleWriter::writeText(std::string_view text) {
  if (mediaCount_ > 0) return;
  const std::string characters = resolved(text);
  if (isPowerStart_ && !layout_.isAtLineStart() && beginsWithNumber(characters)) layout_.write("^");
  isPowerStart_ = false;
  if (verbatimCount_ == 0) return layout_.write(characters);
  const bool isBreakFirst = isVerbatimStart_ && characters.starts_with('\n');
  isVerbatimStart_ = false;
  layout_.writeVerbatim(std::string_view(characters).substr(isBreakFirst ? 1 : 0));
}

void ArticleWriter::part(Gap gap) {
  if (gap == Gap::Line) layout_.endLine();
  if (gap == Gap::Paragraph) layout_.separate();
}

bool ArticleWriter::isInside(Role role) const {
  return std::ranges::any_of(open_, [role](const Open& open) { return open.element->role == role; });
}

/// A list inside of another one follows its point at once.
Gap ArticleWriter::gapOf(const Element& element) const {
  const bool isList = element.role == Role::Bullets || element.role == Role::Numbers;
  return isList && isInside(Role::Point) ? Gap::Line : element.gap;
}

void ArticleWriter::start(const Tag& tag) {
  const Element* const element = elementNamed(tag.name);
  if (!element) return;
  if (mediaCount_ > 0 && element->role != Role::Media && element->role != Role::Source) return;
  part(gapOf(*element));
  Open open{element, {}, layout_.written()};
  if (element->isEmpty) return startRole(tag, *element, open);
  if (open_.size() == kMaxDepth) {
    ++flattened_;
    return;
  }
  startRole(tag, *element, open);
  open_.push_back(std::move(open));
}

void ArticleWriter::startRole(const Tag& tag, const Element& element, Open& open) {
  switch (element.role) {
    case Role::Plain:
    case Role::Bullets:
      return;
    case Role::Numbers:
      open.number = numberIn(tag.value("start")).value_or(1);
      return;
    case Role::Point:
      return startPoint(tag, open);
    case Role::Meaning:
      return indent(open, "    ", "    ");
    case Role::Quote:
      return indent(open, "> ", "> ");
    case Role::Heading: {
      const std::string mark = std::string(static_cast<std::size_t>(element.name.back() - '0'), '#') + " ";
      return indent(open, mark, std::string(mark.size(), ' '));
    }
    case Role::Verbatim:
      ++verbatimCount_;
      isVerbatimStart_ = true;
      return;
    case Role::Cell:
      return layout_.isAtLineStart() ? void() : layout_.write(" | ");
    case Role::Link:
      open.address = tag.value("href").value_or("");
      return;
    case Role::Quotation:
      return layout_.write("\"");
    case Role::Power:
      isPowerStart_ = true;
      return;
    case Role::Media:
      return startMedia(tag, element);
    case Role::Source:
      if (isSourceWanted_) writeNumber(tag.value("src").value_or(""));
      return;
    case Role::Picture:
      return writePicture(tag);
    case Role::LineBreak:
      return breakLine();
    case Role::Rule:
      layout_.write(std::string(layout_.room() / 2, '-'));
      return layout_.separate();
  }
}

void ArticleWriter::startPoint(const Tag& tag, Open& open) {
  if (open_.empty() || open_.back().element->role != Role::Numbers) return indent(open, "* ", "  ");
  std::int64_t& number = open_.back().number;
  number = numberIn(tag.value("value")).value_or(number);
  const std::string mark = std::to_string(number++) + ". ";
  indent(open, mark, std::string(mark.size(), ' '));
}

void ArticleWriter::startMedia(const Tag& tag, const Element& element) {
  ++mediaCount_;
  layout_.write("[" + std::string(element.name) + "]");
  const std::optional<std::string> address = tag.value("src");
  isSourceWanted_ = !address;
  if (address) writeNumber(*address);
}

void ArticleWriter::writePicture(const Tag& tag) {
  std::string description = tag.value("alt").value_or("");
  if (collapsed(description).empty()) description = tag.value("title").value_or("");
  layout_.write(collapsed(description).empty() ? "[image]" : "[image: " + collapsed(description) + "]");
}

/// The second of two breaks leaves a line free.
void ArticleWriter::breakLine() {
  if (verbatimCount_ > 0) return layout_.writeVerbatim("\n");
  layout_.isAtLineStart() ? layout_.separate() : layout_.endLine();
}

void ArticleWriter::writeNumber(const std::string& address) {
  isSourceWanted_ = false;
  if (address.empty()) return;
  const bool isSpaceNext = layout_.isAtWordStart();
  layout_.write(" [" + std::to_string(links_.numberOf(address)) + (isSpaceNext ? "] " : "]"));
}

void ArticleWriter::indent(Open& open, std::string_view first, std::string_view rest) {
  layout_.indent(first, rest);
  open.isIndented = true;
}

/// Ends the last element of that name with what it holds. There may be none: the end tag then says nothing.
void ArticleWriter::end(std::string_view name) {
  const Element* const element = elementNamed(name);
  if (!element) return;
  if (flattened_ > 0) {
    --flattened_;
    return;
  }
  for (std::size_t height = open_.size(); height > 0; --height) {
    const Open& open = open_[height - 1];
    if (open.element == element) {
      while (open_.size() >= height) endLast();
      return;
    }
    if (open.element->role == Role::Media) return;
  }
}

void ArticleWriter::endLast() {
  const Open open = std::move(open_.back());
  open_.pop_back();
  isPowerStart_ = false;
  switch (open.element->role) {
    case Role::Link:
      if (layout_.written() > open.writtenBefore) writeNumber(open.address);
      break;
    case Role::Quotation:
      layout_.write("\"");
      break;
    case Role::Verbatim:
      --verbatimCount_;
      break;
    case Role::Media:
      --mediaCount_;
      isSourceWanted_ = false;
      break;
    default:
      break;
  }
  if (open.isIndented) layout_.outdent();
  part(gapOf(*open.element));
}

}  // namespace

void writeArticle(std::string_view html, std::size_t columns, const LineSink& sink) {
  ArticleWriter(columns, sink).write(html);
}

}  // namespace quillmoria
