#pragma once

#include <stdexcept>
#include <string>

namespace quillmoria {

/// What the program's end tells its caller.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,        ///< a feed or list could not be had, or the output not written
  kWrongUse = 2,      ///< the arguments, or a file or folder that they name, cannot be used
  kInterrupted = 130  ///< stopped by Ctrl-C
};

/// Ends a command: a text for the user, saying what is wrong and what to do, and the exit status.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& text) : std::runtime_error(text), status_(status) {}
  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace quillmoria
