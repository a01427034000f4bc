#include "Archive.h"

#include <string_view>

#include "Failure.h"
#include "Output.h"

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

Failure failureOf(const ArchiveError& error) {
  std::string text = error.what();
  for (const Advice& advice : kAdvice) {
    if (advice.problem == error.problem()) text.append(" (").append(advice.text).append(")");
  }
  return Failure(kFailed, text);
}

}  // namespace

const char kUnfilledAdvice[] =
    "nothing has been pulled yet: quillmoria add URL subscribes to a feed, quillmoria pull fetches the news";

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

bool isUnfilled(NewsArchive& archive) {
  const ArchiveStatistics statistics = archive.Statistics();
  return statistics.feeds == 0 && statistics.items == 0;
}

void complainOfUnknown(std::int64_t id) {
  complain("there is no item " + std::to_string(id) + ": quillmoria news tells the numbers of items");
}

}  // namespace quillmoria
