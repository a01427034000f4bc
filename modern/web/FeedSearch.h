#pragma once

#include <string>

#include "modern/web/WebAddress.h"
#include "quillmoria/FindFeeds.h"

namespace quillmoria {

/// See FindFeeds. Throws std::bad_alloc.
FoundFeeds searchFeeds(WebAddress page, const std::string& baseFolder);

}  // namespace quillmoria
