#include "platform/FolderUse.h"

#include <dirent.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "platform/posix/EngineFile.h"

namespace quillmoria {
namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

using Moment = std::pair<std::int64_t, std::int64_t>;  // seconds, nanoseconds

struct File {
  Moment usedAt;
  std::uint64_t bytes;
  std::string name;
};

Moment momentOf(const timespec& time) { return {time.tv_sec, time.tv_nsec}; }

std::optional<std::vector<File>> filesOf(DIR* folder) {
  std::vector<File> files;
  for (errno = 0; const dirent* const entry = ::readdir(folder); errno = 0) {
    struct stat state;
    if (::fstatat(::dirfd(folder), entry->d_name, &state, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(state.st_mode)) {
      files.push_back({std::max(momentOf(state.st_atim), momentOf(state.st_mtim)),
                       static_cast<std::uint64_t>(state.st_size), entry->d_name});
    }
  }
  if (errno != 0) return std::nullopt;
  return files;
}

bool removed(int folder, const File& file) {
  const LockedFile held = openForOneself(folder, file.name, O_RDONLY);
  return held && ::unlinkat(folder, file.name.c_str(), 0) == 0;
}

}  // namespace

std::optional<FolderUse> trimFolder(const std::string& path, const FolderUse& bound, const FolderUse& goal) {
  const std::optional<std::string> name = systemFolder(path);
  const Folder folder(name ? ::opendir(name->c_str()) : nullptr);
  std::optional<std::vector<File>> files = folder ? filesOf(folder.get()) : std::nullopt;
  if (!files) return std::nullopt;
  FolderUse use;
  for (const File& file : *files) use.files += 1, use.bytes += file.bytes;
  if (use.isWithin(bound)) return use;
  std::ranges::sort(*files, {}, &File::usedAt);
  for (const File& file : *files) {
    if (use.isWithin(goal)) break;
    if (removed(::dirfd(folder.get()), file)) use.files -= 1, use.bytes -= file.bytes;
  }
  return use;
}

}  // namespace quillmoria
