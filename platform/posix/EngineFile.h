#pragma once

#include <sys/file.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/posix/Descriptor.h"

namespace quillmoria {

/// A file's directory, reached without a link below the engine's folder, and its name there.
struct Place {
  Descriptor directory;
  std::string name;
};

/// An open file that is held against others.
class LockedFile {
 public:
  LockedFile() = default;
  explicit LockedFile(Descriptor file) : file_(std::move(file)) {}
  LockedFile(LockedFile&&) noexcept = default;
  LockedFile& operator=(LockedFile&&) noexcept = default;

  /// A close alone would leave the file to a forked child that has a copy of the descriptor.
  ~LockedFile() {
    if (file_) ::flock(file_.get(), LOCK_UN);
  }

  explicit operator bool() const { return static_cast<bool>(file_); }
  int get() const { return file_.get(); }

 private:
  Descriptor file_;
};

/// As the system has it, the folder that `path` (base folder, backslash, folder) names; nothing if it is none of the
/// engine's.
std::optional<std::string> systemFolder(std::string_view path);

/// Where the file is that `path` names (as CFile takes it); nothing if there is no way to it, or if its name is none
/// that a file of the engine's can have.
std::optional<Place> locate(std::string_view path);

/// What the file `name` is called beside its place until it is whole. No place has such a name.
std::string temporaryName(std::string_view name);

/// Whether `name` is the file that is open. It may have been renamed or removed by its last holder before it was
/// locked.
bool isStillNamed(int file, int directory, const std::string& name);

/// The regular file `name`, locked; none if somebody else holds it. Throws as open does.
LockedFile openForOneself(int directory, const std::string& name, int flags);

}  // namespace quillmoria
