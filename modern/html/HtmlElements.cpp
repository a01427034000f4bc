#include "modern/html/HtmlElements.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

namespace quillmoria {
namespace {

/// Sorted by name. What is not kept is never written, whatever else is said of it.
constexpr HtmlElement kElements[] = {
    {"a", kKept},
    {"abbr", kKept},
    {"address", kKept | kBlock | kBreaking},
    {"applet", kDropped},
    {"area", kEmpty},
    {"article", kKept | kBlock | kBreaking},
    {"aside", kKept | kBlock | kBreaking},
    {"audio", kKept},
    {"b", kKept},
    {"base", kEmpty},
    {"basefont", kEmpty},
    {"bdi", kKept},
    {"bdo", kKept},
    {"bgsound", kEmpty},
    {"big", kKept},
    {"blockquote", kKept | kBlock | kBreaking},
    {"br", kKept | kEmpty | kBreaking},
    {"caption", kKept | kBreaking | kCell | kTablePart},
    {"center", kBlock | kBreaking, "div"},
    {"cite", kKept},
    {"code", kKept},
    {"col", kKept | kEmpty | kTablePart},
    {"colgroup", kKept | kTablePart},
    {"datalist", kDropped},
    {"dd", kKept | kBlock | kBreaking},
    {"del", kKept},
    {"details", kKept | kBlock | kBreaking},
    {"dfn", kKept},
    {"dialog", kBlock | kBreaking, "div"},
    {"dir", kBlock | kBreaking, "ul"},
    {"div", kKept | kBlock | kBreaking},
    {"dl", kKept | kBlock | kBreaking},
    {"dt", kKept | kBlock | kBreaking},
    {"em", kKept},
    {"embed", kEmpty | kFrame},
    {"fieldset", kBlock | kBreaking, "div"},
    {"figcaption", kKept | kBlock | kBreaking},
    {"figure", kKept | kBlock | kBreaking},
    {"footer", kKept | kBlock | kBreaking},
    {"form", kBlock | kBreaking, "div"},
    {"frame", kEmpty},
    {"frameset", kDropped},
    {"h1", kKept | kBlock | kBreaking},
    {"h2", kKept | kBlock | kBreaking},
    {"h3", kKept | kBlock | kBreaking},
    {"h4", kKept | kBlock | kBreaking},
    {"h5", kKept | kBlock | kBreaking},
    {"h6", kKept | kBlock | kBreaking},
    {"header", kKept | kBlock | kBreaking},
    {"hgroup", kKept | kBlock | kBreaking},
    {"hr", kKept | kEmpty | kBlock | kBreaking},
    {"i", kKept},
    {"iframe", kDropped | kRaw | kFrame},
    {"img", kKept | kEmpty},
    {"input", kEmpty},
    {"ins", kKept},
    {"kbd", kKept},
    {"keygen", kEmpty},
    {"legend", kBlock | kBreaking, "div"},
    {"li", kKept | kBlock | kBreaking},
    {"link", kEmpty},
    {"listing", kBlock | kBreaking, "pre"},
    {"main", kKept | kBlock | kBreaking},
    {"mark", kKept},
    {"menu", kBlock | kBreaking, "ul"},
    {"meta", kEmpty},
    {"nav", kKept | kBlock | kBreaking},
    {"noembed", kDropped | kRaw},
    {"noframes", kDropped | kRaw},
    {"ol", kKept | kBlock | kBreaking},
    {"optgroup", kBreaking},
    {"option", kBreaking},
    {"p", kKept | kBlock | kBreaking},
    {"param", kEmpty},
    {"pre", kKept | kBlock | kBreaking},
    {"q", kKept},
    {"rp", kKept},
    {"rt", kKept},
    {"ruby", kKept},
    {"s", kKept},
    {"samp", kKept},
    {"script", kDropped | kRaw},
    {"section", kKept | kBlock | kBreaking},
    {"small", kKept},
    {"source", kKept | kEmpty},
    {"span", kKept},
    {"strike", kKept},
    {"strong", kKept},
    {"style", kDropped | kRaw},
    {"sub", kKept},
    {"summary", kKept | kBlock | kBreaking},
    {"sup", kKept},
    {"svg", kDropped | kForeign},
    {"table", kKept | kBlock | kBreaking | kCell},
    {"tbody", kKept | kBreaking | kTablePart},
    {"td", kKept | kBreaking | kCell | kTablePart},
    {"template", kDropped},
    {"textarea", kLiteral | kBreaking},
    {"tfoot", kKept | kBreaking | kTablePart},
    {"th", kKept | kBreaking | kCell | kTablePart},
    {"thead", kKept | kBreaking | kTablePart},
    {"time", kKept},
    {"tr", kKept | kBreaking | kTablePart},
    {"track", kEmpty},
    {"tt", kKept},
    {"u", kKept},
    {"ul", kKept | kBlock | kBreaking},
    {"var", kKept},
    {"video", kKept | kBlock | kBreaking},
    {"wbr", kKept | kEmpty},
    {"xmp", kLiteral | kBlock | kBreaking, "pre"},
};
static_assert(std::ranges::is_sorted(kElements, {}, &HtmlElement::name));

constexpr std::size_t kLetters = 26;

/// Where the names of each letter begin, and behind the last one where they end.
consteval std::array<std::uint8_t, kLetters + 1> beginnings() {
  std::array<std::uint8_t, kLetters + 1> places{};
  for (std::size_t letter = 0; letter <= kLetters; ++letter) {
    const auto begins = [letter](const HtmlElement& element) {
      return static_cast<std::size_t>(element.name.front() - 'a') >= letter;
    };
    places[letter] = static_cast<std::uint8_t>(std::ranges::find_if(kElements, begins) - std::begin(kElements));
  }
  return places;
}

}  // namespace

const HtmlElement& htmlElement(std::string_view name) {
  static constexpr HtmlElement kOther;
  static constexpr auto kBeginnings = beginnings();
  if (name.empty() || name.front() < 'a' || name.front() > 'z') return kOther;
  const auto letter = static_cast<std::size_t>(name.front() - 'a');
  for (std::size_t at = kBeginnings[letter]; at < kBeginnings[letter + 1]; ++at) {
    if (kElements[at].name == name) return kElements[at];
  }
  return kOther;
}

}  // namespace quillmoria
