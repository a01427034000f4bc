#include "Archive.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include "Failure.h"
#include "Output.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

struct Advice {
  ArchiveProblem problem;
  std::string_view text;
};

constexpr Advice kAdvice[] = {
    {ArchiveProblem::Locked, "try again when the other program is done"},
    {ArchiveProblem::Full, "make room on the disk"},
    {ArchiveProblem::NoAccess, "check who may write there, or choose another base folder with --base DIR"},
    {ArchiveProblem::Newer, "install the newer version of this program"},
    {ArchiveProblem::Damaged, "quillmoria archive --repair saves what can be read"},
};

/// To look does not make one.
bool hasArchive(const std::string& baseFolder) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::path(baseFolder) / "archive.sqlite", error);
}

}  // namespace

const char kUnfilledAdvice[] =
    "nothing has been pulled yet: quillmoria add URL subscribes to a feed, quillmoria pull fetches the news";

Failure failureOf(const ArchiveError& error) {
  std::string text = error.what();
  for (const Advice& advice : kAdvice) {
    if (advice.problem == error.problem()) text.append(" (").append(advice.text).append(")");
  }
  return Failure(kFailed, text);
}

void useArchive(const std::string& baseFolder, const std::function<void(NewsArchive& archive)>& use) {
  try {
    NewsArchive archive(baseFolder);
    use(archive);
  } catch (const ArchiveError& error) {
    throw failureOf(error);
  }
}

ArchiveRepair repairArchive(const std::string& baseFolder) {
  try {
    return NewsArchive::Repair(baseFolder);
  } catch (const ArchiveError& error) {
    throw failureOf(error);
  }
}

std::map<std::string, ArchivedFeed> archivedFeeds(const std::string& baseFolder) {
  std::map<std::string, ArchivedFeed> feeds;
  if (!hasArchive(baseFolder)) return feeds;
  try {
    useArchive(baseFolder, [&feeds](NewsArchive& archive) {
      const std::vector<ArchivedFeed> all = archive.Feeds();
      for (const ArchivedFeed& feed : all) feeds.try_emplace(addressKey(feed.url), feed);
      for (const ArchivedFeed& feed : all) {
        if (!feed.movedTo.empty()) feeds.try_emplace(addressKey(feed.movedTo), feed);
      }
    });
  } catch (const Failure& failure) {
    complain(failure.what());
  }
  return feeds;
}

void forgetFeed(const std::string& baseFolder, const std::string& url) {
  if (!hasArchive(baseFolder)) return;
  useArchive(baseFolder, [&url](NewsArchive& archive) { archive.RemoveFeed(withoutUserInformation(url)); });
}

void renameFeeds(const std::string& baseFolder, const std::vector<OwnFeed>& feeds) {
  if (feeds.empty() || !hasArchive(baseFolder)) return;
  useArchive(baseFolder, [&feeds](NewsArchive& archive) {
    for (const OwnFeed& feed : feeds) archive.RenameFeed(withoutUserInformation(feed.url), feed.name, feed.category);
  });
}

bool isUnfilled(NewsArchive& archive) {
  const ArchiveStatistics statistics = archive.Statistics();
  return statistics.feeds == 0 && statistics.items == 0;
}

void complainOfUnknown(std::int64_t id) {
  complain("there is no item " + std::to_string(id) + ": quillmoria news tells the numbers of items");
}

}  // namespace quillmoria
