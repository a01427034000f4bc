#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillmoria {

/// A `link` element of a page's head.
struct PageLink {
  std::string title;  ///< plain text
  std::string url;    ///< absolute
  std::string type;   ///< media type, in lower case
};

/// The feeds that the page names: its `link` and `a` elements with rel `alternate` (or `feed`) and a feed's type, in
/// its order, each address once, at most 100. Relative addresses are resolved against `base`, then `url`. `html` is in
/// UTF-8.
std::vector<PageLink> feedLinks(std::string_view html, std::string_view url);

/// The character set that the page's `meta` elements name, with or without `http-equiv`; empty if they name none.
/// `html` is as it came.
std::string pageCharset(std::string_view html);

/// Whether `text` looks like a web page, not like a feed.
bool isWebPage(std::string_view text);

}  // namespace quillmoria
