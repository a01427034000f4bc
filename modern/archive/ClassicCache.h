#pragma once

#include <memory>
#include <string>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// The feed called `feedName` as the classic profile has left it in its cache file, written as the modern one does; the
/// items, whose status is `status`, were first seen at their dates. `url` is where the feed is. Null if there is none.
/// Throws std::bad_alloc.
std::unique_ptr<RSSObject> readClassicCache(const std::string& baseFolder, const std::string& feedName,
                                            const std::string& url, ItemStatus status);

}  // namespace quillmoria
