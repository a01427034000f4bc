#pragma once

namespace quillmoria {

/// Asks for `shutDown` to be called when the process ends, before anything is torn down that was set up before this
/// call, or else when the library is unloaded. May be asked for repeatedly, and `shutDown` must tolerate that.
/// It is not called in a forked copy of the process. Throws std::bad_alloc.
void callAtExit(void (*shutDown)());

/// Whether this is a copy, made by a fork, of the process that has used the library: it has none of that one's threads,
/// only the locks that they held, so nothing can be shut down.
bool isForked();

/// Keeps the library mapped as long as it lives, so that a thread may run its code beyond the host's last use of it.
/// The library's own code may drop a reference only while another one is held.
class ModuleReference {
 public:
  /// Keeps nothing.
  ModuleReference() = default;
  /// Whoever takes one uses the library, which counts for isForked.
  static ModuleReference take();

  ModuleReference(ModuleReference&& other) noexcept;
  ModuleReference& operator=(ModuleReference&& other) noexcept;
  ~ModuleReference();

  /// Never drops the reference: the library stays mapped.
  void keepForGood() { handle_ = nullptr; }

 private:
  explicit ModuleReference(void* handle) : handle_(handle) {}

  void* handle_ = nullptr;  ///< null as well where the code is part of the program itself
};

/// Keeps the library that holds the function at `code` mapped to the end of the process.
void keepMapped(const void* code);

}  // namespace quillmoria
