#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Subscribing.h"
#include "quillmoria/NewsArchive.h"
#include "reader/Archives.h"
#include "reader/Notices.h"
#include "reader/Pictures.h"
#include "reader/RefreshState.h"
#include "reader/View.h"

namespace quillmoria {

/// What a page is made of beside its view.
struct PageContext {
  const std::string& baseFolder;
  Archives& archives;
  const Notices& notices;
  const Pictures& pictures;
  RefreshState refresh;
  std::string formToken;             ///< what every form sends back
  bool withImages = false;           ///< whether articles may load images from elsewhere
  const FeedOffer* offer = nullptr;  ///< what was found at the view's address, to choose from; null: nothing
};

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
