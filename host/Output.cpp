#include "Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "Failure.h"
#include "Text.h"

namespace quillmoria {
namespace {

[[noreturn]] void failToWrite(int error) {
  throw Failure(kFailed, std::string("the output cannot be written: ") + std::strerror(error));
}

}  // namespace

Output::Output() {
  const int descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (descriptor < 0) failToWrite(errno);
  file_.reset(fdopen(descriptor, "w"));
  if (!file_ || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) failToWrite(errno);
}

void Output::line(std::string_view text) {
  std::string safe = printable(text);
  safe += '\n';
  if (std::fwrite(safe.data(), 1, safe.size(), file_.get()) == safe.size()) return;
  error_ = errno;
  failToWrite(error_);
}

void Output::flush() {
  if (std::fflush(file_.get()) != 0) error_ = errno;
  if (error_ != 0) failToWrite(error_);
}

void complain(std::string_view text) { std::fprintf(stderr, "quillmoria: %s\n", printable(text).c_str()); }

}  // namespace quillmoria
