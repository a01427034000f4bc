#include "reader/LocalHtml.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace quillmoria {
namespace {

/// What is said in the place of an element.
struct Replacement {
  std::string_view element;
  std::string_view label;  ///< of a link to what it plays; empty: an image
};

constexpr Replacement kReplacements[] = {{"img", ""}, {"audio", "Sound"}, {"video", "Film"}, {"source", "Recording"}};

/// The value of an attribute as it stands, escaped; the engine quotes all.
std::string_view valueIn(std::string_view tag, std::string_view attribute) {
  const std::size_t at = tag.find(attribute);
  if (at == std::string_view::npos) return {};
  tag.remove_prefix(at + attribute.size());
  return tag.substr(0, tag.find('"'));
}

const Replacement* replacementOf(std::string_view tag) {
  tag.remove_prefix(std::min<std::size_t>(tag.starts_with("</") ? 2 : 1, tag.size()));
  const std::string_view name = tag.substr(0, tag.find_first_of(" >"));
  const auto* const found = std::ranges::find(kReplacements, name, &Replacement::element);
  return found == std::end(kReplacements) ? nullptr : found;
}

bool isLocal(std::string_view tag, const Replacement& what) {
  return what.label.empty() && valueIn(tag, " src=\"").starts_with("data:") && valueIn(tag, " srcset=\"").empty();
}

std::string replaced(std::string_view tag, const Replacement& what) {
  std::string html;
  if (tag.starts_with("</")) return html;
  if (what.label.empty()) {
    html.append("<span class=\"image\">").append(valueIn(tag, " alt=\"")).append("</span>");
  } else if (const std::string_view source = valueIn(tag, " src=\""); !source.empty()) {
    html.append("<a href=\"")
        .append(source)
        .append("\" rel=\"noopener noreferrer\">")
        .append(what.label)
        .append("</a> ");
  }
  return html;
}

/// Calls `use` with each piece of `html`: a tag that asks for something and what stands for it, or a text and null.
template <typename Use>
void walk(std::string_view html, const Use& use) {
  while (!html.empty()) {
    const std::size_t start = std::min(html.find('<', html.starts_with('<') ? 1 : 0), html.size());
    const std::string_view piece = html.substr(0, start);
    html.remove_prefix(start);
    const std::size_t end = std::min(piece.find('>'), piece.size() - 1) + 1;
    const std::string_view tag = piece.starts_with('<') ? piece.substr(0, end) : std::string_view();
    const Replacement* const what = tag.empty() ? nullptr : replacementOf(tag);
    const bool asks = what && !isLocal(tag, *what);
    if (asks) use(tag, what);
    use(asks ? piece.substr(end) : piece, nullptr);
  }
}

}  // namespace

bool asksElsewhere(std::string_view html) {
  bool asks = false;
  walk(html, [&asks](std::string_view, const Replacement* what) { asks = asks || what; });
  return asks;
}

std::string withoutAsking(std::string_view html) {
  std::string local;
  walk(html, [&local](std::string_view piece, const Replacement* what) {
    local += what ? replaced(piece, *what) : std::string(piece);
  });
  return local;
}

}  // namespace quillmoria
