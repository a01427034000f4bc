#pragma once

#include <cstddef>
#include <exception>
#include <string>

/// A connection, a request or a read failed.
class CInternetException : public std::exception {
 public:
  explicit CInternetException(std::string message);

  /// Puts the error's text, cut to `size` bytes with its terminator, into `text`. False if there is none.
  bool GetErrorMessage(std::string& text, std::size_t size) const;
  const char* what() const noexcept override;

 private:
  std::string message_;
};
