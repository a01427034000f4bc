#pragma once

#include <string>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Fetches `feed` and parses the document into `news`, a new object whose base folder is set; blocks meanwhile. A
/// failure leaves its item count at -1 and its text in its status message. Any thread. Throws std::bad_alloc.
void fetchFeed(RSSObject& news, RSSObject::NewsFeed feed, std::string sourceNote);

}  // namespace quillmoria
