#include "platform/posix/EngineFile.h"

#include <limits.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr std::string_view kFolders[] = {"config", "cache", "feed_imgs"};
constexpr int kMaxLockAttempts = 16;

// A temporary name has eight digits and an extension, so that every file system takes it, FAT included, and gives it no
// second, shortened name. Neither holds an "i", "k" or "s", which folding of case makes of characters beyond ASCII.
constexpr std::string_view kTemporaryDigits = "0123456789abcdefghjlmnpqrtuvwxyz";
constexpr std::size_t kTemporaryDigitCount = 8;
constexpr std::string_view kTemporaryExtension = ".qmu";

std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

/// Case, and dots and spaces at the end, are what file systems may not tell apart.
bool isTemporary(std::string_view name) {
  const std::string plain = lowerAscii(name.substr(0, name.find_last_not_of(". ") + 1));
  return plain.size() == kTemporaryDigitCount + kTemporaryExtension.size() && plain.ends_with(kTemporaryExtension) &&
         plain.find_first_not_of(kTemporaryDigits) == kTemporaryDigitCount;
}

bool canName(const std::string& component) {
  return !component.empty() && component != ".." && !isTemporary(component);
}

Descriptor openFolder(int directory, const std::string& name, int flags) {
  return open(directory, name.c_str(), flags | O_PATH | O_DIRECTORY);
}

/// Goes from `directory` down to the last component of `name`. Only that a component is not "..", and no link, keeps
/// the walk below its start. An empty component is the directory itself, as the system has it.
std::optional<Place> descend(Descriptor directory, std::string_view name) {
  if (name.empty() || name.front() == '/') return std::nullopt;
  for (std::size_t slash; (slash = name.find('/')) != std::string_view::npos; name.remove_prefix(slash + 1)) {
    const std::string component(name.substr(0, slash));
    if (component == "..") return std::nullopt;
    if (component.empty()) continue;
    directory = openFolder(directory.get(), component, O_NOFOLLOW);
    if (!directory) return std::nullopt;
  }
  std::string last(name);
  if (!canName(last)) return std::nullopt;
  return Place{std::move(directory), std::move(last)};
}

/// False if somebody else holds the file. A file system without locks locks for nobody.
bool lockForOneself(int file) { return ::flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

bool canBePath(std::string_view path) { return path.size() < PATH_MAX && path.find('\0') == std::string_view::npos; }

}  // namespace

std::optional<std::string> systemFolder(std::string_view path) {
  const std::size_t mark = path.rfind('\\');
  if (!canBePath(path) || mark == std::string_view::npos) return std::nullopt;
  const std::string_view folder = path.substr(mark + 1);
  if (std::ranges::find(kFolders, folder) == std::end(kFolders)) return std::nullopt;
  return std::string(path.substr(0, mark)).append("/").append(folder);
}

/// Takes folder and name apart at the path's last backslash, so that a name never holds one.
std::optional<Place> locate(std::string_view path) {
  const std::size_t mark = path.rfind('\\');
  if (!canBePath(path) || mark == std::string_view::npos) return std::nullopt;
  const std::optional<std::string> folder = systemFolder(path.substr(0, mark));
  if (!folder) return std::nullopt;
  Descriptor directory = openFolder(AT_FDCWD, *folder, 0);
  if (!directory) return std::nullopt;
  return descend(std::move(directory), path.substr(mark + 1));
}

std::string temporaryName(std::string_view name) {
  std::uint64_t hash = fnv1a(name);
  std::string temporary;
  for (std::size_t i = 0; i < kTemporaryDigitCount; ++i, hash <<= 5) temporary += kTemporaryDigits[hash >> 59];
  return temporary.append(kTemporaryExtension);
}

bool isStillNamed(int file, int directory, const std::string& name) {
  struct stat opened;
  struct stat named;
  return ::fstat(file, &opened) == 0 && ::fstatat(directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

LockedFile openForOneself(int directory, const std::string& name, int flags) {
  for (int attempt = 0; attempt < kMaxLockAttempts; ++attempt) {
    Descriptor file = openRegular(directory, name.c_str(), flags | O_NOFOLLOW);
    if (!file || !lockForOneself(file.get())) return LockedFile();
    LockedFile locked(std::move(file));
    if (isStillNamed(locked.get(), directory, name)) return locked;
  }
  return LockedFile();
}

}  // namespace quillmoria
