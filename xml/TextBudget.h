#pragma once

#include <cstddef>
#include <exception>

namespace quillmoria {

/// The bytes of text that a feed may have in memory while it is read, what its items take beside their text included.
inline constexpr std::size_t kMaxKeptText = 128 << 20;

/// Thrown where a document holds more than is kept. What was read before counts.
struct KeptTextExceeded : std::exception {
  const char* what() const noexcept override { return "The document holds more text than is kept"; }
};

/// Counts what is kept.
class TextBudget {
 public:
  /// Throws KeptTextExceeded.
  void take(std::size_t bytes) {
    kept_ += bytes;
    if (kept_ > kMaxKeptText) throw KeptTextExceeded();
  }

 private:
  std::size_t kept_ = 0;
};

}  // namespace quillmoria
