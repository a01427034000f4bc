#pragma once

#include <string>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Fetches `feed` unconditionally and reads the document into `news`, a new object whose base folder is set; blocks
/// meanwhile. Neither looks at what pulls have left nor leaves anything for them, but for rate limits, which hold here
/// as well. A failure leaves its item count at -1, and tells itself. Any thread. Throws std::bad_alloc.
void fetchModernFeed(RSSObject& news, RSSObject::NewsFeed feed, std::string sourceNote);

}  // namespace quillmoria
