#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// Replaces the file at `path` by `text`, whole or not at all, also if the machine stops meanwhile; through a link the
/// file that it leads to. A new file is the user's alone. What is no regular file, such as a pipe, is written to.
/// Throws Failure.
void replaceFile(const std::string& path, std::string_view text);

/// What only one process at a time may have of a folder; waits for it. Nothing is left behind.
class FolderLock {
 public:
  /// Throws Failure if the folder cannot be opened.
  explicit FolderLock(const std::string& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int descriptor_;
};

}  // namespace quillmoria
