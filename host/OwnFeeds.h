#pragma once

#include <string>
#include <vector>

#include "Subscriptions.h"
#include "quillmoria/OPML.h"

namespace quillmoria {

/// A feed of the user's own subscriptions.
struct OwnFeed {
  std::string category;
  std::string label;  ///< as the list calls it
  std::string name;   ///< as pulls do, each feed otherwise
  std::string url;
};

/// The feeds of `list` in its order; `subscriptions` gains them.
std::vector<OwnFeed> ownFeeds(const OPMLDoc& list, Subscriptions& subscriptions);

/// "Example News <http://example.org/news.rss>"
std::string nameAndAddress(const OwnFeed& feed);

}  // namespace quillmoria
