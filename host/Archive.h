#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Failure.h"
#include "OwnFeeds.h"
#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// `error` with what to do about it.
Failure failureOf(const ArchiveError& error);

/// Gives the archive of `baseFolder` to `use`. Throws Failure, with what to do, for whatever ArchiveError comes.
void useArchive(const std::string& baseFolder, const std::function<void(NewsArchive& archive)>& use);

/// Makes a whole archive of what can be read of a damaged one. Throws Failure likewise.
ArchiveRepair repairArchive(const std::string& baseFolder);

/// What the archive of `baseFolder` knows of feeds, by the addressKey of where they were and of where they are now.
/// Nothing if there is no archive; if it cannot be had, likewise, and says so.
std::map<std::string, ArchivedFeed> archivedFeeds(const std::string& baseFolder);

/// Forgets the feed at `url` and its items, if there is an archive that knows it. Throws Failure.
void forgetFeed(const std::string& baseFolder, const std::string& url);

/// Calls the feeds in the archive as pulls will, those that it knows. Throws Failure.
void renameFeeds(const std::string& baseFolder, const std::vector<OwnFeed>& feeds);

/// Whether no pull has filled the archive yet.
bool isUnfilled(NewsArchive& archive);

/// Says that the archive has no such item.
void complainOfUnknown(std::int64_t id);

/// What to do where no pull has filled the archive.
extern const char kUnfilledAdvice[];

}  // namespace quillmoria
