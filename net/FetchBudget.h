#pragma once

#include <cstddef>

namespace quillmoria {

/// Memory that the fetches of several threads may take together. Each tells what it takes. A thread without a budget
/// may take what it likes.
class FetchBudget {
 public:
  /// What a feed object takes at most for each byte of its document, as a rule.
  static constexpr std::size_t kObjectBytesPerByte = 8;

  /// The calling thread's fetch is about to have a body of `bytes`. False if that is too much: the transfer is to be
  /// given up, since a server does not wait, and is asked for again later.
  static bool admits(std::size_t bytes);

  /// From now on the calling thread's fetch, whose transfer is over, takes `bytes` in all. Waits while that is too
  /// much.
  static void claim(std::size_t bytes);

  /// Makes a budget the calling thread's as long as it lives. One at a time.
  class Membership {
   public:
    explicit Membership(FetchBudget& budget);
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;
    ~Membership();
  };

 protected:
  ~FetchBudget() = default;

 private:
  virtual bool admit(std::size_t bytes) = 0;
  virtual void take(std::size_t bytes) = 0;
};

}  // namespace quillmoria
