#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/CodePage.h"
#include "quillmoria/OPML.h"

namespace quillmoria {
namespace {

using OutlineStruct = OPMLDoc::OutlineStruct;

// Of a line of a file that our own parser reads in one piece.
constexpr std::size_t kMaxLineBytes = 1999;

// From this column on a space of an attribute becomes a line break, which XML reads as a space.
constexpr std::size_t kBreakColumn = 500;

// Kept free at the end of a line, for an end tag or the reference that fills the line.
constexpr std::size_t kReservedBytes = 24;

// Deeper outlines are indented no further: long chains would grow quadratically.
constexpr std::size_t kMaxIndentLevels = 8;

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Escape {
  char character;
  std::string_view reference;
};

/// Tabs and line breaks in attributes would be read as spaces.
constexpr std::array kEscapes = std::to_array<Escape>({
    {'&', "&amp;"},
    {'<', "&lt;"},
    {'>', "&gt;"},
    {'"', "&quot;"},
    {'\t', "&#9;"},
    {'\n', "&#10;"},
    {'\r', "&#13;"},
});

std::size_t characterBytes(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

/// Takes the first character off `text`, which is valid UTF-8 and not empty.
std::string_view takeCharacter(std::string_view& text) {
  const std::string_view character = text.substr(0, characterBytes(text.front()));
  text.remove_prefix(character.size());
  return character;
}

bool isKnownToXml(std::string_view character) {
  const char first = character.front();
  if (first >= 0 && first < ' ') return first == '\t' || first == '\n' || first == '\r';
  return character != "\xEF\xBF\xBE" && character != "\xEF\xBF\xBF";
}

/// `text` with U+FFFD for what no XML document can hold.
std::string asXmlText(std::u16string_view text) {
  const std::string utf8 = wideToUtf8(text);
  std::string known;
  known.reserve(utf8.size());
  for (std::string_view rest = utf8; !rest.empty();) {
    const std::string_view character = takeCharacter(rest);
    known += isKnownToXml(character) ? character : kReplacement;
  }
  return known;
}

std::string asXmlText(const std::string& text) { return asXmlText(utf8ToWide(text)); }
std::string asXmlText(CTime time) { return time.Format("%a, %d %b %Y %H:%M:%S %z"); }
std::string asXmlText(std::int32_t number) { return number == -1 ? "" : std::to_string(number); }

std::string_view escaped(std::string_view character) {
  for (const Escape& escape : kEscapes) {
    if (escape.character == character.front()) return escape.reference;
  }
  return character;
}

std::size_t escapedBytes(std::string_view text) {
  std::size_t bytes = 0;
  while (!text.empty()) bytes += escaped(takeCharacter(text)).size();
  return bytes;
}

char32_t codePoint(std::string_view character) {
  char32_t c = static_cast<unsigned char>(character.front());
  if (character.size() > 1) c &= 0xFFu >> (character.size() + 1);
  for (const char byte : character.substr(1)) c = c << 6 | (static_cast<unsigned char>(byte) & 0x3F);
  return c;
}

/// A reference to `character` that takes `bytes`, of which there are enough.
std::string reference(std::string_view character, std::size_t bytes) {
  std::string text = "&#x" + std::string(bytes - 4, '0') + ";";
  std::size_t digit = bytes - 1;
  for (char32_t c = codePoint(character); c != 0; c >>= 4) text[--digit] = "0123456789ABCDEF"[c & 15];
  return text;
}

/// Writes elements in lines that our own parser, which takes longer ones apart, reads as anybody does.
class ElementWriter {
 public:
  /// Markup of a few bytes.
  void write(std::string_view markup) {
    text_ += markup;
    column_ = markup.ends_with('\n') ? 0 : column_ + markup.size();
  }

  /// An outline without the end of its tag.
  void startOutline(const OutlineStruct& outline, std::size_t level) {
    write(std::string(2 * std::min(level, kMaxIndentLevels), ' '));
    write("<outline");
    const std::string text = asXmlText(outline.text);
    attribute("text", text);
    setAttribute("title", text);
    setAttribute("type", outline.xmlUrl.empty() ? asXmlText(outline.type) : "rss");
    setAttribute("xmlUrl", asXmlText(outline.xmlUrl));
    const std::string url = asXmlText(outline.url);
    if (!outline.xmlUrl.empty()) setAttribute("htmlUrl", url);
    setAttribute("url", url);
    setAttribute("description", asXmlText(outline.description));
    const std::string created = asXmlText(outline.dateCreated);
    setAttribute("created", created);
    setAttribute("dateCreated", created);
  }

  /// A line with `text` in an element, unless there is none.
  void field(std::string_view name, std::string_view text) {
    if (text.empty()) return;
    write("    <");
    write(name);
    write(">");
    isForOneChunk(text) ? quote(text) : characters(text, false);
    write("</");
    write(name);
    write(">\n");
  }

  std::string take() { return std::move(text_); }

 private:
  void setAttribute(std::string_view name, std::string_view value) {
    if (!value.empty()) attribute(name, value);
  }

  void attribute(std::string_view name, std::string_view value) {
    const bool fits = column_ + name.size() + escapedBytes(value) + 2 * kReservedBytes <= kMaxLineBytes;
    if (!fits) write("\n");
    write(" ");
    write(name);
    write("=\"");
    characters(value, true);
    write("\"");
  }

  /// A text without a space for a whole line cannot be broken. There the line is filled exactly, so that who takes it
  /// apart finds whole characters on either side.
  void characters(std::string_view text, bool mayBreakAtSpaces) {
    while (!text.empty()) {
      const std::string_view character = takeCharacter(text);
      const std::string_view form = escaped(character);
      const std::size_t left = kMaxLineBytes - column_;
      if (mayBreakAtSpaces && form == " " && column_ >= kBreakColumn) {
        write("\n");
      } else if (left >= form.size() + kReservedBytes) {
        write(form);
      } else {
        text_ += reference(character, left);
        column_ = 0;
      }
    }
  }

  /// Whether `text` would come in several parts, of which our own parser keeps the last, and need not.
  static bool isForOneChunk(std::string_view text) {
    return text.find_first_of("&<>\"\t") != std::string_view::npos &&
           text.find_first_of("]\r\n") == std::string_view::npos && text.size() + 4 * kReservedBytes <= kMaxLineBytes;
  }

  void quote(std::string_view text) {
    write("<![CDATA[");
    write(text);
    write("]]>");
  }

  std::string text_;
  std::size_t column_ = 0;
};

void writeHead(ElementWriter& writer, const OPMLDoc::HeadStruct& head) {
  writer.write("  <head>\n");
  writer.field("title", asXmlText(head.title));
  writer.field("dateCreated", asXmlText(head.dateCreated));
  writer.field("dateModified", asXmlText(head.dateModified));
  writer.field("ownerName", asXmlText(head.ownerName));
  writer.field("ownerEmail", asXmlText(head.ownerEmail));
  writer.field("expansionState", asXmlText(head.expansionState));
  writer.field("vertScrollState", asXmlText(head.vertScrollState));
  writer.field("windowTop", asXmlText(head.windowTop));
  writer.field("windowLeft", asXmlText(head.windowLeft));
  writer.field("windowBottom", asXmlText(head.windowBottom));
  writer.field("windowRight", asXmlText(head.windowRight));
  writer.write("  </head>\n");
}

void writeOutlines(ElementWriter& writer, const std::vector<OutlineStruct*>& outlines) {
  constexpr std::size_t kBodyLevel = 2;
  using Siblings = std::pair<const std::vector<OutlineStruct*>*, std::size_t>;
  std::vector<Siblings> open{{&outlines, 0}};
  while (true) {
    auto& [siblings, next] = open.back();
    if (next < siblings->size()) {
      const OutlineStruct& outline = *(*siblings)[next++];
      writer.startOutline(outline, kBodyLevel + open.size() - 1);
      writer.write(outline.children.empty() ? "/>\n" : ">\n");
      if (!outline.children.empty()) open.emplace_back(&outline.children, 0);
    } else {
      open.pop_back();
      if (open.empty()) return;
      writer.write(std::string(2 * std::min(kBodyLevel + open.size() - 1, kMaxIndentLevels), ' '));
      writer.write("</outline>\n");
    }
  }
}

}  // namespace

std::string WriteOPML(const OPMLDoc& list) {
  ElementWriter writer;
  writer.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<opml version=\"2.0\">\n");
  writeHead(writer, list.head);
  writer.write("  <body>\n");
  writeOutlines(writer, list.outlines);
  writer.write("  </body>\n</opml>\n");
  return writer.take();
}

}  // namespace quillmoria
