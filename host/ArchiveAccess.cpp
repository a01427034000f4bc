#include "ArchiveAccess.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "Failure.h"
#include "Output.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// To look does not make one.
bool hasArchive(const std::string& baseFolder) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::path(baseFolder) / "archive.sqlite", error);
}

}  // namespace

std::map<std::string, ArchivedFeed> archivedFeeds(const std::string& baseFolder) {
  std::map<std::string, ArchivedFeed> feeds;
  if (!hasArchive(baseFolder)) return feeds;
  try {
    NewsArchive archive(baseFolder);
    const std::vector<ArchivedFeed> all = archive.Feeds();
    for (const ArchivedFeed& feed : all) feeds.try_emplace(addressKey(feed.url), feed);
    for (const ArchivedFeed& feed : all) {
      if (!feed.movedTo.empty()) feeds.try_emplace(addressKey(feed.movedTo), feed);
    }
  } catch (const ArchiveError& error) {
    complain(std::string("the archive cannot be read: ") + error.what());
  }
  return feeds;
}

void forgetFeed(const std::string& baseFolder, const std::string& url) {
  if (!hasArchive(baseFolder)) return;
  try {
    NewsArchive(baseFolder).RemoveFeed(withoutUserInformation(url));
  } catch (const ArchiveError& error) {
    throw Failure(kFailed, std::string("the feed's items are still in the archive: ") + error.what());
  }
}

}  // namespace quillmoria
