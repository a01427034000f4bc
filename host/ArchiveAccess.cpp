#include "ArchiveAccess.h"

#include <filesystem>
#include <system_error>

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
    for (ArchivedFeed& feed : archive.Feeds()) feeds.try_emplace(addressKey(feed.url), std::move(feed));
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
