#pragma once

#include <string>
#include <vector>

#include "Subscribing.h"
#include "reader/Archives.h"
#include "reader/Notices.h"
#include "reader/Pictures.h"
#include "reader/RefreshState.h"

namespace quillmoria {

/// What a page is made of beside its view.
struct PageContext {
  const std::string& baseFolder;
  Archives& archives;
  const Notices& notices;
  const Pictures& pictures;
  RefreshState refresh;
  std::vector<RefreshStep> steps;    ///< of that pull, for Aside::Refresh alone
  std::string formToken;             ///< what every form sends back
  bool withImages = false;           ///< whether articles may load images from elsewhere
  const FeedOffer* offer = nullptr;  ///< what was found at the view's address, to choose from; null: nothing
};

}  // namespace quillmoria
