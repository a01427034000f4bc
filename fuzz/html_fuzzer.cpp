#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <vector>

#include "Fuzzing.h"
#include "platform/CodePage.h"
#include "quillmoria/Html.h"

namespace {

constexpr std::string_view kEmpty[] = {"br", "col", "hr", "img", "source", "wbr"};
constexpr std::string_view kNames[] = {
    "a",          "abbr",    "address", "article", "aside",   "audio",      "b",        "bdi",    "bdo",    "big",
    "blockquote", "br",      "caption", "cite",    "code",    "col",        "colgroup", "dd",     "del",    "details",
    "dfn",        "div",     "dl",      "dt",      "em",      "figcaption", "figure",   "footer", "h1",     "h2",
    "h3",         "h4",      "h5",      "h6",      "header",  "hgroup",     "hr",       "i",      "img",    "ins",
    "kbd",        "li",      "main",    "mark",    "nav",     "ol",         "p",        "pre",    "q",      "rp",
    "rt",         "ruby",    "s",       "samp",    "section", "small",      "source",   "span",   "strike", "strong",
    "sub",        "summary", "sup",     "table",   "tbody",   "td",         "tfoot",    "th",     "thead",  "time",
    "tr",         "tt",      "u",       "ul",      "var",     "video",      "wbr"};
constexpr std::string_view kAttributes[] = {"abbr",   "alt",      "cite",    "colspan", "controls", "datetime",
                                            "dir",    "height",   "href",    "lang",    "open",     "poster",
                                            "rel",    "reversed", "rowspan", "scope",   "span",     "src",
                                            "srcset", "start",    "title",   "type",    "value",    "width"};
constexpr std::string_view kAddresses[] = {"cite", "href", "poster", "src", "srcset"};
constexpr std::string_view kSchemes[] = {"http:",           "https:",           "mailto:",       "data:image/avif",
                                         "data:image/bmp",  "data:image/gif",   "data:image/jp", "data:image/png",
                                         "data:image/webp", "data:image/x-icon"};

template <class List>
bool isAmong(const List& list, std::string_view word) {
  return std::ranges::find(list, word) != std::end(list);
}

/// Reads safe HTML in the one form that it is written in, and aborts at anything else.
class StrictReader {
 public:
  explicit StrictReader(std::string_view html) : rest_(html) {}

  void read() {
    while (!rest_.empty()) {
      if (rest_.front() != '<') {
        readCharacter("<>\"");
      } else if (rest_.starts_with("</")) {
        readEndTag();
      } else {
        readStartTag();
      }
    }
    require(open_.empty());
  }

 private:
  std::string_view take(std::size_t size) {
    require(size <= rest_.size());
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  void readCharacter(std::string_view refused) {
    const char c = rest_.front();
    require(refused.find(c) == std::string_view::npos);
    require(static_cast<unsigned char>(c) >= ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\f');
    require(c != '\x7f');
    if (c != '&') {
      take(1);
      return;
    }
    const std::string_view reference = take(rest_.find(';') + 1);
    require(isAmong(std::to_array<std::string_view>({"&amp;", "&lt;", "&gt;", "&quot;"}), reference));
  }

  void readEndTag() {
    take(2);
    const std::string_view name = take(rest_.find('>'));
    take(1);
    require(!open_.empty() && open_.back() == name);
    open_.pop_back();
  }

  void readStartTag() {
    take(1);
    const std::string_view name = take(rest_.find_first_of(" >"));
    require(isAmong(kNames, name));
    std::vector<std::string_view> attributes;
    while (take(1) == " ") readAttribute(attributes);
    if (!isAmong(kEmpty, name)) open_.push_back(name);
    require(open_.size() <= 256);
  }

  void readAttribute(std::vector<std::string_view>& attributes) {
    const std::string_view name = take(rest_.find('='));
    require(isAmong(kAttributes, name) && !isAmong(attributes, name));
    attributes.push_back(name);
    require(take(2) == "=\"");
    const std::string_view value = rest_.substr(0, rest_.find('"'));
    if (isAmong(kAddresses, name)) {
      require(std::ranges::any_of(kSchemes, [&](std::string_view scheme) {
        return std::ranges::equal(value.substr(0, scheme.size()), scheme, {},
                                  [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
      }));
    }
    while (!rest_.starts_with('"')) {
      require(!rest_.empty());
      readCharacter("<>");
    }
    take(1);
  }

  std::string_view rest_;
  std::vector<std::string_view> open_;
};

}  // namespace

/// A piece of a page. What comes out is harmless, closed, text of which nothing can be taken for markup, and its own
/// safe form; what is plain has no control characters.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string html = textOf(data, size);
  for (const std::string_view base : {"", "https://example.org/a/b?c"}) {
    const std::string safe = quillmoria::SanitizeHtml(html, base);
    StrictReader(safe).read();
    require(quillmoria::wideToUtf8(quillmoria::utf8ToWide(safe)) == safe);
    require(quillmoria::SanitizeHtml(safe, base) == safe);
  }
  const std::string plain = quillmoria::PlainText(html);
  require(std::ranges::none_of(plain, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }));
  require(!plain.starts_with(' ') && !plain.ends_with(' ') && plain.find("  ") == std::string::npos);
  return 0;
}
