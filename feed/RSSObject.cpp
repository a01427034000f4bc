#include "quillmoria/RSSObject.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

constexpr auto kNowhere = std::u16string::npos;

/// The next place from `start` on where a table may be opened, or the end. Looks at eight units at a time, since hardly
/// one of them is a '<' with a 't' or 'T' after it.
std::size_t nextCandidate(std::u16string_view html, std::size_t start) {
  static_assert(std::endian::native == std::endian::little, "the first unit of a half is in its lowest bits");
  using Units [[gnu::vector_size(16)]] = std::uint16_t;
  using Halves [[gnu::vector_size(16)]] = std::uint64_t;
  constexpr std::uint16_t kTag = u'<';
  constexpr std::uint16_t kLowerCase = 0x20;
  constexpr std::uint16_t kT = u't';
  constexpr std::size_t kBlock = sizeof(Units) / sizeof(char16_t);
  constexpr auto unitOf = [](std::uint64_t found) { return static_cast<std::size_t>(std::countr_zero(found)) / 16; };
  for (; start + kBlock < html.size(); start += kBlock) {
    Units block;
    Units following;
    std::memcpy(&block, html.data() + start, sizeof block);
    std::memcpy(&following, html.data() + start + 1, sizeof following);
    const auto found = reinterpret_cast<Halves>((block == kTag) & ((following | kLowerCase) == kT));
    if (found[0]) return start + unitOf(found[0]);
    if (found[1]) return start + kBlock / 2 + unitOf(found[1]);
  }
  while (start < html.size() && html[start] != u'<') ++start;
  return start;
}

bool opensTable(std::u16string_view html) {
  for (std::size_t at = nextCandidate(html, 0); at < html.size(); at = nextCandidate(html, at + 1)) {
    const std::u16string_view name = html.substr(at + 1, 5);
    if (name == u"table" || name == u"TABLE") return true;
  }
  return false;
}

}  // namespace

void RSSObject::LoadImage(ImageStruct image) {
  delete std::exchange(channelPicture, nullptr);
  if (image.url.empty()) return;
  channelPicture = new CPicture;
  channelPicture->LoadFromURL(std::move(image.url), baseFolder);
}

/// Compatibility.
std::u16string RSSObject::FormatHTMLString(std::u16string html) {
  if (!opensTable(html)) return html;

  std::size_t tableEnd = html.find(u"</table>");
  if (tableEnd == kNowhere) tableEnd = html.find(u"</TABLE>");
  if (tableEnd == kNowhere) {
    tableEnd = html.size();
    html += u"</table>";
  }
  if (html.find(u"</tr>") == kNowhere && html.find(u"</TR>") == kNowhere) html.insert(tableEnd, u"</tr>");
  return html;
}
