#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quillmoria {

/// What the regular files take that are directly in a folder.
struct FolderUse {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;

  bool isWithin(const FolderUse& bound) const { return files <= bound.files && bytes <= bound.bytes; }
};

/// Counts the files of the engine's folder at `path` (base folder, backslash, folder). If they are beyond `bound`,
/// removes those that were used longest ago, until the others are within `goal`; files that are being written stay, and
/// all that is no regular file. Returns what is left; nothing if the folder cannot be listed. Throws as CFile::Open.
/// Any thread.
std::optional<FolderUse> trimFolder(const std::string& path, const FolderUse& bound, const FolderUse& goal);

}  // namespace quillmoria
