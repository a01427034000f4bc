#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "Fuzzing.h"
#include "platform/CodePage.h"
#include "quillmoria/OPML.h"
#include "xml/XmlParser.h"

namespace {

using OutlineStruct = OPMLDoc::OutlineStruct;

/// A list by the bytes of an input: each outline begins with a byte that says how many levels to go up and how long its
/// texts are.
class ListSource {
 public:
  explicit ListSource(std::string_view bytes) : rest_(bytes) {}

  void fill(OPMLDoc& list) {
    list.head.title = takeWide(takeByte());
    list.head.expansionState = take(takeByte());
    std::vector<OutlineStruct*> open;
    while (!rest_.empty()) {
      const unsigned kind = takeByte();
      open.resize(open.size() - std::min<std::size_t>(open.size(), kind & 3));
      auto& siblings = open.empty() ? list.outlines : open.back()->children;
      siblings.push_back(new OutlineStruct);
      open.push_back(siblings.back());
      fill(*open.back(), kind >> 2);
    }
  }

 private:
  void fill(OutlineStruct& outline, unsigned kind) {
    outline.text = takeWide(takeByte() * (kind & 1 ? 16 : 1));
    if (kind & 2) outline.xmlUrl = take(takeByte() * (kind & 4 ? 16 : 1));
    if (kind & 8) outline.description = takeWide(takeByte() * 4);
    if (kind & 16) outline.url = take(takeByte());
    if (kind & 32) outline.dateCreated = CTime(static_cast<std::int32_t>(takeByte() << 22));
  }

  unsigned takeByte() { return rest_.empty() ? 0 : static_cast<unsigned char>(take(1)[0]); }

  std::string take(std::size_t size) {
    const std::string taken(rest_.substr(0, size));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::u16string takeWide(std::size_t size) {
    const std::string bytes = take(2 * size);
    std::u16string text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), 2 * text.size());
    return text;
  }

  std::string_view rest_;
};

/// What comes back of `text`: U+FFFD for what XML has no form of.
std::u16string known(std::u16string_view text) {
  std::u16string all = quillmoria::utf8ToWide(quillmoria::wideToUtf8(text));
  std::ranges::replace_if(
      all, [](char16_t c) { return (c < ' ' && c != '\t' && c != '\n' && c != '\r') || c == 0xFFFE || c == 0xFFFF; },
      u'\xFFFD');
  return all;
}

std::string known(const std::string& text) { return quillmoria::wideToUtf8(known(quillmoria::utf8ToWide(text))); }

/// A file's long words come back with spaces in them.
template <class Text>
Text withoutSpaces(Text text) {
  std::erase(text, typename Text::value_type{' '});
  return text;
}

/// Whether `is` came back of `was`, from a file unless `isExact`.
template <class Text>
void requireBack(const Text& is, const Text& was, bool isExact) {
  const Text expected = known(was);
  require(isExact || expected.size() < 230 ? is == expected : withoutSpaces(is) == withoutSpaces(expected));
}

void requireBack(const OPMLDoc& is, const OPMLDoc& was) {
  using Outlines = std::vector<OutlineStruct*>;
  const bool isFlat = std::ranges::all_of(was.outlines, [](const auto* outline) { return outline->children.empty(); });
  require(!isFlat || is.outlines.size() == 1);
  const Outlines& top = isFlat ? is.outlines[0]->children : is.outlines;
  for (std::vector<std::pair<const Outlines*, const Outlines*>> left{{&top, &was.outlines}}; !left.empty();) {
    const auto [ones, others] = left.back();
    left.pop_back();
    require(ones->size() == others->size());
    for (std::size_t i = 0; i < ones->size(); ++i) {
      const OutlineStruct& one = *(*ones)[i];
      const OutlineStruct& other = *(*others)[i];
      requireBack(one.text, other.text, false);
      requireBack(one.xmlUrl, other.xmlUrl, false);
      requireBack(one.url, other.url, false);
      requireBack(one.description, other.description, false);
      require(one.dateCreated == other.dateCreated && one.type == (other.xmlUrl.empty() ? "" : "rss"));
      left.emplace_back(&one.children, &other.children);
    }
  }
}

/// The texts and titles of outlines, and the title of the list, in their order.
struct Texts final : quillmoria::XmlHandler {
  void startElement(const char* name, quillmoria::XmlAttributes attributes) override {
    element = name;
    for (; *attributes; attributes += 2) {
      if (std::string_view(attributes[0]) == "text") texts.emplace_back(attributes[1]);
      if (std::string_view(attributes[0]) == "xmlUrl") texts.emplace_back(attributes[1]);
    }
  }
  void endElement(const char*) override { element.clear(); }
  void characters(std::string_view chunk) override {
    if (element == "title") title += chunk;
  }

  std::string element;
  std::string title;
  std::vector<std::string> texts;
};

/// Any XML parser reads all that was written, as it was.
void requireWellFormed(const std::string& text, const OPMLDoc& list) {
  Texts read;
  require(quillmoria::XmlParser(read).parseToEnd(text) == quillmoria::XmlEnding::Sound);
  require(read.title == quillmoria::wideToUtf8(known(list.head.title)));
  std::vector<std::string> written;
  for (std::vector<const OutlineStruct*> left(list.outlines.rbegin(), list.outlines.rend()); !left.empty();) {
    const OutlineStruct& outline = *left.back();
    left.pop_back();
    written.push_back(quillmoria::wideToUtf8(known(outline.text)));
    if (!outline.xmlUrl.empty()) written.push_back(known(outline.xmlUrl));
    left.insert(left.end(), outline.children.rbegin(), outline.children.rend());
  }
  require(read.texts == written);
}

}  // namespace

/// A list of any texts: what is written of it is well-formed and read back.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = textOf(data, size);
  OPMLDoc list;
  ListSource(bytes).fill(list);
  const std::string text = WriteOPML(list);
  requireWellFormed(text, list);
  baseFolder().write("list.opml", text);
  OPMLParser parser(baseFolder().name());
  parser.ParseFromFile((baseFolder() / "list.opml").string());
  requireBack(*parser.GetOPMLDoc(), list);
  return 0;
}
