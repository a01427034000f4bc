#include "modern/reading/Markup.h"

#include <algorithm>

#include "modern/reading/Names.h"
#include "modern/reading/Values.h"
#include "platform/Url.h"

namespace quillmoria {
namespace {

constexpr std::string_view kEmptyElements[] = {"area",  "base", "br",   "col",   "embed",  "hr",    "img",
                                               "input", "link", "meta", "param", "source", "track", "wbr"};
constexpr std::string_view kAddresses[] = {"href", "src", "cite", "longdesc", "poster", "data", "background"};

bool isOneOf(const auto& words, std::string_view word) {
  return std::ranges::any_of(words, [&](std::string_view known) { return isSameWord(known, word); });
}

}  // namespace

void appendEscaped(std::string& out, std::string_view text) {
  while (!text.empty()) {
    const std::size_t special = std::min(text.find_first_of("&<>\""), text.size());
    out += text.substr(0, special);
    if (special == text.size()) return;
    switch (text[special]) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += "&quot;";
    }
    text.remove_prefix(special + 1);
  }
}

void appendStartTag(std::string& out, std::string_view name, XmlAttributes attributes, std::string_view base) {
  (out += '<') += localName(name);
  for (; *attributes; attributes += 2) {
    const std::string_view attribute = attributes[0];
    const std::string_view value = attributes[1];
    if (attribute.find(':') != std::string_view::npos || attribute == "xmlns") continue;
    ((out += ' ') += attribute) += "=\"";
    appendEscaped(out, !base.empty() && isOneOf(kAddresses, attribute) ? absoluteUrl(value, base) : std::string(value));
    out += '"';
  }
  out += '>';
}

void appendEndTag(std::string& out, std::string_view name) {
  if (!isOneOf(kEmptyElements, localName(name))) ((out += "</") += localName(name)) += '>';
}

}  // namespace quillmoria
