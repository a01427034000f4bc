#pragma once

#include <memory>

namespace quillmoria {

/// A started thread, or none. A started one must be joined before it is destroyed.
class Thread {
 public:
  Thread();
  Thread(Thread&&) noexcept;
  Thread& operator=(Thread&&) noexcept;
  ~Thread();

  /// A small number that tells the running threads apart, for traces.
  int id() const;

  /// True on the thread itself.
  bool isCurrent() const;

  /// Waits for the thread's end and returns its exit code: 0, or what endThread was given. Once, from another thread.
  unsigned join();

 private:
  friend Thread _beginthread(void (*start)(void*), void* argument);
  struct State;
  explicit Thread(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

/// Starts a thread on `start` with the default stack size and all signals left to the host's threads. Throws
/// std::system_error if the system gives none. An exception that leaves `start` ends the thread with exit code 1.
Thread _beginthread(void (*start)(void*), void* argument);

/// Ends the calling thread, from any depth of its calls: the stack is unwound up to the thread's start, which alone
/// catches this. Only for threads of _beginthread.
[[noreturn]] void endThread(unsigned exitCode);

}  // namespace quillmoria
