#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "reader/Archives.h"
#include "reader/PageContext.h"
#include "reader/View.h"

namespace quillmoria {

/// The whole document of `view`. Every text of a stranger is escaped. Throws Failure and ArchiveError.
std::string pageOf(const View& view, const PageContext& context);

/// The parts of it that `parts` names, each an element with that id: "feeds", "items", "article", "status", with dots
/// between them ("feeds.status"). What a script puts in the place of the elements that are there. Throws likewise.
std::string partsOf(std::string_view parts, const View& view, const PageContext& context);

/// The document of an article's frame, which asks for nothing from elsewhere unless it is `withImages`. A note that
/// there is none, for an unknown `id`. Throws ArchiveError.
std::string articleOf(std::int64_t id, bool withImages, Archives& archives);

/// A document that says what went wrong, with a way back to the page; `text` is plain.
std::string errorPageOf(std::string_view text);

/// The document for whoever comes without the token: says where to find the address, links nowhere.
std::string strangerPage();

}  // namespace quillmoria
