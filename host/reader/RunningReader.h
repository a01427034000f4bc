#pragma once

#include <string>

namespace quillmoria {

/// Sees to it that one reader at a time serves a base folder, and knows the address of the one that does. It stands in
/// the file `reader.address`, which is the user's alone, is locked by the reader that is running, and goes with it.
///
///     RunningReader running(baseFolder);
///     if (running.isAnother()) return open(running.address());
///     running.tell(address);
class RunningReader {
 public:
  /// Throws Failure if the file cannot be made.
  explicit RunningReader(const std::string& baseFolder);
  ~RunningReader();
  RunningReader(const RunningReader&) = delete;
  RunningReader& operator=(const RunningReader&) = delete;

  /// Whether another process serves the folder.
  bool isAnother() const { return isAnother_; }

  /// The other's address; waits a moment for one that is just starting, and is empty if it does not tell.
  std::string address() const;

  /// Tells others where this one is. Throws Failure.
  void tell(const std::string& address) const;

 private:
  std::string path_;
  int descriptor_ = -1;
  bool isAnother_ = false;
};

}  // namespace quillmoria
