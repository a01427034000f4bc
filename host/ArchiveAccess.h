#pragma once

#include <map>
#include <string>

#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// What the archive of `baseFolder` knows of feeds, by the addressKey of where they were and of where they are now.
/// Nothing if there is no archive; if it cannot be had, likewise, and says so.
std::map<std::string, ArchivedFeed> archivedFeeds(const std::string& baseFolder);

/// Forgets the feed at `url` and its items, if there is an archive that knows it. Throws Failure.
void forgetFeed(const std::string& baseFolder, const std::string& url);

}  // namespace quillmoria
