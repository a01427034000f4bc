#pragma once

#include <cstddef>

namespace quillmoria {

/// Memory that the fetches of several threads may take together. Each tells what it takes; one that would take too much
/// waits there for others to end.
class FetchBudget {
 public:
  /// What a feed object takes at most for each byte of its document, as a rule.
  static constexpr std::size_t kObjectBytesPerByte = 8;

  /// From now on the calling thread's fetch takes `bytes` in all. Waits while that is too much. Nothing for a thread
  /// without a budget.
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
  virtual void take(std::size_t bytes) = 0;
};

}  // namespace quillmoria
