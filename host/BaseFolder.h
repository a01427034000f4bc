#pragma once

#include <string>

namespace quillmoria {

/// The folder below which the engine keeps its files: `given`, or the user's data folder by the XDG rules if that is
/// empty. Makes it and the three subfolders that the engine expects to find, where they are missing.
/// Throws Failure if there is no such place or a folder cannot be made.
std::string openBaseFolder(const std::string& given);

/// A base folder that is removed with all it holds at the end of the scope.
class TemporaryBaseFolder {
 public:
  /// Made in the folder `parent`, or in the system's folder for temporary files if that is empty. Throws Failure.
  explicit TemporaryBaseFolder(const std::string& parent);
  ~TemporaryBaseFolder();
  TemporaryBaseFolder(const TemporaryBaseFolder&) = delete;
  TemporaryBaseFolder& operator=(const TemporaryBaseFolder&) = delete;

  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace quillmoria
