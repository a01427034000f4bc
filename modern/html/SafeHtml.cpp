#include "modern/html/SafeHtml.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "modern/html/HtmlText.h"
#include "platform/Text.h"
#include "platform/Url.h"

namespace quillmoria {
namespace {

/// What the value of an attribute must be to be written.
enum class ValueKind : std::uint8_t {
  Text,       ///< anything
  Flag,       ///< nothing: it is there or it is not
  Number,     ///< up to five digits, perhaps with a percent sign
  Word,       ///< letters, digits and what languages, times and media types hold beside them
  Direction,  ///< of a text
  Link,       ///< an address of the web or of mail
  Source,     ///< an address of the web
  Picture,    ///< an address of the web, or the picture itself
  Pictures,   ///< several, with their sizes
};

struct AttributeRule {
  std::string_view name;
  std::string_view element;  ///< empty: of all
  ValueKind kind;
};

/// What may be written beside the elements that are kept. Nothing that is not here is.
constexpr AttributeRule kAttributes[] = {
    {"abbr", "th", ValueKind::Text},         {"alt", "img", ValueKind::Text},
    {"cite", "blockquote", ValueKind::Link}, {"cite", "del", ValueKind::Link},
    {"cite", "ins", ValueKind::Link},        {"cite", "q", ValueKind::Link},
    {"colspan", "td", ValueKind::Number},    {"colspan", "th", ValueKind::Number},
    {"datetime", "del", ValueKind::Word},    {"datetime", "ins", ValueKind::Word},
    {"datetime", "time", ValueKind::Word},   {"dir", "", ValueKind::Direction},
    {"height", "img", ValueKind::Number},    {"height", "video", ValueKind::Number},
    {"href", "a", ValueKind::Link},          {"lang", "", ValueKind::Word},
    {"open", "details", ValueKind::Flag},    {"poster", "video", ValueKind::Source},
    {"reversed", "ol", ValueKind::Flag},     {"rowspan", "td", ValueKind::Number},
    {"rowspan", "th", ValueKind::Number},    {"scope", "th", ValueKind::Word},
    {"span", "col", ValueKind::Number},      {"span", "colgroup", ValueKind::Number},
    {"src", "audio", ValueKind::Source},     {"src", "img", ValueKind::Picture},
    {"src", "source", ValueKind::Source},    {"src", "video", ValueKind::Source},
    {"srcset", "img", ValueKind::Pictures},  {"start", "ol", ValueKind::Number},
    {"title", "", ValueKind::Text},          {"type", "ol", ValueKind::Word},
    {"type", "source", ValueKind::Word},     {"value", "li", ValueKind::Number},
    {"width", "img", ValueKind::Number},     {"width", "video", ValueKind::Number},
};
static_assert(std::ranges::is_sorted(kAttributes, {}, &AttributeRule::name));

constexpr std::string_view kPictureTypes[] = {"png", "gif", "jpeg", "jpg", "webp", "bmp", "avif", "x-icon"};
constexpr std::string_view kDelayedSources[] = {"data-src", "data-lazy-src", "data-original", "data-orig-file"};

struct TablePlace {
  std::string_view part;
  std::array<std::string_view, 5> within;  ///< the last one of these that is open stays open: there is always a table
};

constexpr TablePlace kTablePlaces[] = {
    {"caption", {"table"}},
    {"col", {"colgroup", "table"}},
    {"colgroup", {"table"}},
    {"tbody", {"table"}},
    {"td", {"tr", "tbody", "thead", "tfoot", "table"}},
    {"tfoot", {"table"}},
    {"th", {"tr", "tbody", "thead", "tfoot", "table"}},
    {"thead", {"table"}},
    {"tr", {"tbody", "thead", "tfoot", "table"}},
};

constexpr std::size_t kMaxPictures = 32;  ///< of one srcset

bool isLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

bool isWord(std::string_view value) {
  constexpr std::size_t kMaxBytes = 64;
  return value.size() <= kMaxBytes && std::ranges::all_of(value, [](char c) {
           return isLetterOrDigit(c) || std::string_view("-+:./; ,_=").find(c) != std::string_view::npos;
         });
}

bool isNumber(std::string_view value) {
  constexpr std::size_t kMaxDigits = 5;
  if (value.ends_with('%')) value.remove_suffix(1);
  return !value.empty() && value.size() <= kMaxDigits &&
         std::ranges::all_of(value, [](char c) { return c >= '0' && c <= '9'; });
}

bool isDirection(std::string_view value) {
  const std::string direction = lowerAscii(value.substr(0, 5));
  return direction == "ltr" || direction == "rtl" || direction == "auto";
}

const AttributeRule* ruleOf(std::string_view name, std::string_view element) {
  constexpr std::size_t kLongest = 8;
  if (name.size() > kLongest) return nullptr;
  const std::string lower = lowerAscii(name);
  const auto* rule = std::ranges::lower_bound(kAttributes, std::string_view(lower), {}, &AttributeRule::name);
  while (rule != std::end(kAttributes) && rule->name == lower) {
    if (rule->element.empty() || rule->element == element) return rule;
    ++rule;
  }
  return nullptr;
}

/// Whether `url` is an address of the web that needs nothing done to it: nearly all are.
bool isPlainWebAddress(std::string_view url) {
  return (url.starts_with("https://") || url.starts_with("http://")) &&
         std::ranges::all_of(url, [](char c) { return c > ' ' && c < '\x7f'; });
}

/// Whether `url` is a picture itself: one that is made of pixels alone.
bool isPictureItself(std::string_view url) {
  constexpr std::string_view kScheme = "data:image/";
  if (lowerAscii(url.substr(0, kScheme.size())) != kScheme) return false;
  const std::string_view rest = url.substr(kScheme.size());
  const std::string type = lowerAscii(rest.substr(0, std::min(rest.substr(0, 16).find_first_of(";,"), rest.size())));
  return std::ranges::find(kPictureTypes, type) != std::end(kPictureTypes);
}

/// The absolute form of an address, if it is one that a value of `kind` may have.
std::optional<std::string> safeAddress(std::string_view value, ValueKind kind, std::string_view base) {
  std::string url = absoluteUrl(value, base);
  if (kind == ValueKind::Picture && isPictureItself(url)) return url;
  const std::string scheme = schemeOf(url);
  const bool isSafe = scheme == "http" || scheme == "https" || (scheme == "mailto" && kind == ValueKind::Link);
  return isSafe ? std::optional(std::move(url)) : std::nullopt;
}

std::string_view withoutSpace(std::string_view text) {
  constexpr std::string_view kSpace = " \t\n\r\f";
  const std::size_t begin = std::min(text.find_first_not_of(kSpace), text.size());
  text.remove_prefix(begin);
  return text.substr(0, text.find_last_not_of(kSpace) + 1);
}

/// The pictures of a `srcset` whose addresses are safe; empty if there is none.
std::string safePictures(std::string_view value, std::string_view base) {
  constexpr std::string_view kSpace = " \t\n\r\f";
  std::string pictures;
  for (std::size_t count = 0; count < kMaxPictures; ++count) {
    const std::size_t begin = value.find_first_not_of(" \t\n\r\f,");
    if (begin == std::string_view::npos) break;
    value.remove_prefix(begin);
    std::string_view url = value.substr(0, value.find_first_of(kSpace));
    value.remove_prefix(url.size());
    std::string_view size;
    if (url.ends_with(',')) {
      while (url.ends_with(',')) url.remove_suffix(1);
    } else {
      size = withoutSpace(value.substr(0, value.find(',')));
      value.remove_prefix(std::min(value.find(','), value.size()));
    }
    const std::optional<std::string> safe = safeAddress(url, ValueKind::Source, base);
    if (!safe || !isWord(size) || safe->ends_with(',')) continue;
    if (!pictures.empty()) pictures += ", ";
    pictures += *safe;
    if (!size.empty()) (pictures += ' ') += size;
  }
  return pictures;
}

const HtmlAttribute* find(const HtmlToken& tag, std::string_view name) {
  const auto found = std::ranges::find_if(
      tag.attributes, [name](const HtmlAttribute& attribute) { return lowerAscii(attribute.name) == name; });
  return found == tag.attributes.end() ? nullptr : &*found;
}

bool isAtMostOne(std::string_view length) {
  length = withoutSpace(length);
  if (lowerAscii(length).ends_with("px")) length.remove_suffix(2);
  return length == "0" || length == "1";
}

/// The value of `property` in a style.
std::string_view styleValue(std::string_view style, std::string_view property) {
  for (; !style.empty(); style.remove_prefix(std::min(style.find(';') + 1, style.size()))) {
    const std::string_view declaration = style.substr(0, style.find(';'));
    const std::size_t colon = std::min(declaration.find(':'), declaration.size());
    if (lowerAscii(withoutSpace(declaration.substr(0, colon))) == property) {
      return declaration.substr(std::min(colon + 1, declaration.size()));
    }
    if (declaration.size() == style.size()) break;
  }
  return {};
}

/// Whether nobody is to see the picture: it is there to be counted.
bool isInvisible(const HtmlToken& tag) {
  const HtmlAttribute* const style = find(tag, "style");
  for (const std::string_view side : {"width", "height"}) {
    const HtmlAttribute* const length = find(tag, side);
    if (length && isAtMostOne(length->value)) return true;
    if (style && isAtMostOne(styleValue(style->value, side))) return true;
  }
  return style && lowerAscii(withoutSpace(styleValue(style->value, "display"))) == "none";
}

std::string_view hostOf(std::string_view url) {
  url.remove_prefix(url.find("//") + 2);
  return url.substr(0, url.find_first_of("/?#"));
}

bool isHeading(std::string_view name) { return name.size() == 2 && name[0] == 'h' && name[1] >= '1' && name[1] <= '6'; }

}  // namespace

void SafeHtmlWriter::write(std::string_view html) {
  HtmlTokens tokens(html);
  for (;;) {
    const HtmlToken& token = tokens.next();
    switch (token.kind) {
      case HtmlTokenKind::End:
        return closeDownTo(0);
      case HtmlTokenKind::Text:
        if (!dropped_) writeText(token.text);
        break;
      case HtmlTokenKind::StartTag:
        startElement(tokens, token);
        break;
      case HtmlTokenKind::EndTag:
        endElement(token.name);
        break;
    }
  }
}

void SafeHtmlWriter::writeText(std::string_view text) {
  if (text.find('&') == std::string_view::npos) return appendEscapedHtml(out_, text);
  value_.clear();
  appendResolved(value_, text, false);
  appendEscapedHtml(out_, value_);
}

void SafeHtmlWriter::startElement(HtmlTokens& tokens, const HtmlToken& tag) {
  const HtmlElement& element = htmlElement(tag.name);
  if (isDropping(tokens, tag, element)) return;
  if (element.is(kFrame)) return writeFrame(tag);
  if (element.is(kKept)) {
    writeElement(tag, element);
  } else if (!element.stead.empty()) {
    writeElement(tag, htmlElement(element.stead));
  } else if (element.is(kBreaking)) {
    out_ += ' ';
  }
  if (element.is(kLiteral)) appendEscapedHtml(out_, tokens.skipRawText(element.name));
}

void SafeHtmlWriter::writeElement(const HtmlToken& tag, const HtmlElement& element) {
  if (element.is(kTablePart) && !isInTable()) {
    if (element.is(kBreaking)) out_ += ' ';
    return;
  }
  if (element.name == "img") return writeImage(tag, element);
  endImplied(element);
  if (!element.is(kEmpty) && depth_ == kMaxDepth) {
    ++flattened_;
    return;
  }
  if (writeStartTag(tag, element) && !element.is(kEmpty)) open_[depth_++] = &element;
}

/// Whether the start tag goes with all that is inside of the element.
bool SafeHtmlWriter::isDropping(HtmlTokens& tokens, const HtmlToken& token, const HtmlElement& element) {
  if (element.is(kRaw)) {
    if (element.is(kFrame) && !dropped_) writeFrame(token);
    tokens.skipRawText(element.name);
    return true;
  }
  if (element.is(kForeign) && token.isClosed) return true;
  if (dropped_ && dropped_->is(kForeign) && element.is(kBlock)) dropped_ = nullptr;
  if (dropped_) {
    if (dropped_ == &element) ++droppedDepth_;
    return true;
  }
  if (!element.is(kDropped)) return false;
  dropped_ = &element;
  droppedDepth_ = 1;
  return true;
}

void SafeHtmlWriter::endElement(std::string_view name) {
  const HtmlElement& named = htmlElement(name);
  if (dropped_) {
    if (dropped_ == &named && --droppedDepth_ == 0) dropped_ = nullptr;
    return;
  }
  const HtmlElement& element = named.stead.empty() ? named : htmlElement(named.stead);
  if (element.name == "br") {
    out_ += "<br>";
    return;
  }
  if (!element.is(kKept) || element.is(kEmpty)) return;
  if (flattened_ > 0) {
    --flattened_;
    return;
  }
  for (std::size_t height = depth_; height > 0; --height) {
    const HtmlElement& open = *open_[height - 1];
    if (&open == &element || (isHeading(open.name) && isHeading(element.name))) return closeDownTo(height - 1);
    if (open.name == "table" || (open.is(kCell) && !element.is(kCell) && !element.is(kTablePart))) return;
  }
}

/// Ends what `element` cannot stand in, as browsers do.
void SafeHtmlWriter::endImplied(const HtmlElement& element) {
  const std::string_view name = element.name;
  if (element.is(kBlock)) endParagraph();
  if (name == "li") return endLast({"li"}, {"ul", "ol"});
  if (name == "dd" || name == "dt") return endLast({"dd", "dt"}, {"dl"});
  if (name == "a") return endLast({"a"}, {});
  if (isHeading(name) && depth_ > 0 && isHeading(open_[depth_ - 1]->name)) return closeDownTo(depth_ - 1);
  if (element.is(kTablePart)) endUpToPlace(name);
}

/// Ends what is open inside of the part of the table that `part` goes into.
void SafeHtmlWriter::endUpToPlace(std::string_view part) {
  const auto* const place = std::ranges::find(kTablePlaces, part, &TablePlace::part);
  if (place == std::end(kTablePlaces)) return;
  std::size_t height = depth_;
  while (height > 0 && std::ranges::find(place->within, open_[height - 1]->name) == place->within.end()) --height;
  closeDownTo(height);
}

void SafeHtmlWriter::endParagraph() {
  for (std::size_t height = depth_; height > 0; --height) {
    const HtmlElement& open = *open_[height - 1];
    if (open.name == "p") return closeDownTo(height - 1);
    if (open.is(kBlock) || open.is(kCell)) return;
  }
}

/// Ends the outermost one of `names` that is open inside of the last one of `within`, or of a cell.
void SafeHtmlWriter::endLast(std::initializer_list<std::string_view> names,
                             std::initializer_list<std::string_view> within) {
  const auto isAmong = [](std::string_view name, std::initializer_list<std::string_view> all) {
    return std::ranges::find(all, name) != all.end();
  };
  std::size_t end = depth_;
  for (std::size_t height = depth_; height > 0; --height) {
    const HtmlElement& open = *open_[height - 1];
    if (isAmong(open.name, within)) break;
    if (isAmong(open.name, names)) {
      end = height - 1;
    } else if (open.is(kCell)) {
      break;
    }
  }
  closeDownTo(end);
}

void SafeHtmlWriter::closeDownTo(std::size_t height) {
  while (depth_ > height) ((out_ += "</") += open_[--depth_]->name) += '>';
}

bool SafeHtmlWriter::isInTable() const {
  return std::any_of(open_.begin(), open_.begin() + static_cast<std::ptrdiff_t>(depth_),
                     [](const HtmlElement* open) { return open->name == "table"; });
}

/// False, and nothing is written, for a link that leads nowhere.
bool SafeHtmlWriter::writeStartTag(const HtmlToken& tag, const HtmlElement& element) {
  const std::size_t before = out_.size();
  (out_ += '<') += element.name;
  writeAttributes(tag, element);
  if (element.name == "a" && out_.find(" href=\"", before) == std::string::npos) {
    out_.resize(before);
    return false;
  }
  if (element.name == "a") out_ += " rel=\"noopener noreferrer\"";
  if (element.name == "audio" || element.name == "video") out_ += " controls=\"\"";
  out_ += '>';
  return true;
}

/// Of attributes of one name the first one counts.
void SafeHtmlWriter::writeAttributes(const HtmlToken& tag, const HtmlElement& element) {
  static_assert(std::size(kAttributes) <= 64);
  std::uint64_t written = 0;
  for (const HtmlAttribute& attribute : tag.attributes) {
    const AttributeRule* const rule = ruleOf(attribute.name, element.name);
    if (!rule) continue;
    const std::uint64_t its = std::uint64_t{1} << (rule - kAttributes);
    if (written & its) continue;
    written |= its;
    std::string_view value = attribute.value;
    if (value.find('&') != std::string_view::npos) {
      value_.clear();
      appendResolved(value_, value, true);
      value = value_;
    }
    switch (rule->kind) {
      case ValueKind::Text:
        writeAttribute(rule->name, value);
        break;
      case ValueKind::Flag:
        writeAttribute(rule->name, "");
        break;
      case ValueKind::Number:
        if (isNumber(withoutSpace(value))) writeAttribute(rule->name, withoutSpace(value));
        break;
      case ValueKind::Word:
        if (isWord(value)) writeAttribute(rule->name, value);
        break;
      case ValueKind::Direction:
        if (isDirection(value)) writeAttribute(rule->name, value);
        break;
      case ValueKind::Pictures:
        if (const std::string pictures = safePictures(value, baseUrl_); !pictures.empty() && spend(pictures)) {
          writeAttribute(rule->name, pictures);
        }
        break;
      case ValueKind::Link:
      case ValueKind::Source:
      case ValueKind::Picture:
        if (isPlainWebAddress(value)) {
          writeAttribute(rule->name, value);
        } else if (const auto url = safeAddress(value, rule->kind, baseUrl_); url && spend(*url)) {
          writeAttribute(rule->name, *url);
        }
        break;
    }
  }
}

/// False if there is no room for an address that was made absolute.
bool SafeHtmlWriter::spend(std::string_view resolved) {
  if (resolved.size() > resolvable_) return false;
  resolvable_ -= resolved.size();
  return true;
}

void SafeHtmlWriter::writeAttribute(std::string_view name, std::string_view value) {
  ((out_ += ' ') += name) += "=\"";
  appendEscapedHtml(out_, value);
  out_ += '"';
}

/// A picture that a script would have put in its place later is there at once; one of which nothing is left goes.
void SafeHtmlWriter::writeImage(const HtmlToken& tag, const HtmlElement& element) {
  if (isInvisible(tag)) return;
  const std::size_t begin = out_.size();
  const HtmlAttribute* const source = find(tag, "src");
  const bool isPlaceholder = !source || withoutSpace(source->value).empty() || source->value.starts_with("data:");
  const auto isDelayed = [&tag](std::string_view name) { return find(tag, name) != nullptr; };
  const auto delayed = isPlaceholder ? std::ranges::find_if(kDelayedSources, isDelayed) : std::end(kDelayedSources);
  if (delayed == std::end(kDelayedSources)) {
    writeStartTag(tag, element);
  } else {
    HtmlToken shown = tag;
    std::erase_if(shown.attributes, [](const HtmlAttribute& one) { return lowerAscii(one.name) == "src"; });
    shown.attributes.insert(shown.attributes.begin(), {"src", find(tag, *delayed)->value});
    writeStartTag(shown, element);
  }
  if (std::string_view(out_).substr(begin) == "<img>") out_.resize(begin);
}

void SafeHtmlWriter::writeFrame(const HtmlToken& tag) {
  const HtmlAttribute* const source = find(tag, "src");
  if (!source) return;
  value_.clear();
  appendResolved(value_, source->value, true);
  const std::optional<std::string> url = safeAddress(value_, ValueKind::Source, baseUrl_);
  if (!url || !spend(*url)) return;
  const HtmlAttribute* const title = find(tag, "title");
  value_.clear();
  if (title) appendResolved(value_, title->value, true);
  endLast({"a"}, {});
  out_ += "<a";
  writeAttribute("href", *url);
  out_ += " rel=\"noopener noreferrer\">";
  appendEscapedHtml(out_, withoutSpace(value_).empty() ? hostOf(*url) : withoutSpace(value_));
  out_ += "</a>";
}

}  // namespace quillmoria
