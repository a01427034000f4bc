#include "Output.h"

#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "Failure.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::size_t kUsualColumns = 80;

[[noreturn]] void failToWrite(int error) {
  throw Failure(kFailed, std::string("the output cannot be written: ") + std::strerror(error));
}

/// In other character sets the bytes of UTF-8 may be control characters. Asks without setting the process's locale,
/// which is the engine's and its libraries' as well.
bool usesUtf8() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (!locale) return false;
  const bool isUtf8 = std::string_view(nl_langinfo_l(CODESET, locale)) == "UTF-8";
  freelocale(locale);
  return isUtf8;
}

}  // namespace

Output::Output() {
  const int descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (descriptor < 0) failToWrite(errno);
  file_.reset(fdopen(descriptor, "w"));
  if (!file_ || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) failToWrite(errno);
}

void Output::line(std::string_view text) { write(displayed(text) + '\n'); }

void Output::document(std::string_view text) {
  if (!isatty(fileno(file_.get()))) return write(text);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void Output::write(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size()) return;
  error_ = errno;
  failToWrite(error_);
}

std::optional<std::size_t> Output::columns() const {
  winsize size{};
  if (ioctl(fileno(file_.get()), TIOCGWINSZ, &size) != 0) return std::nullopt;
  return size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

void Output::flush() {
  if (std::fflush(file_.get()) != 0) error_ = errno;
  if (error_ != 0) failToWrite(error_);
}

std::string displayed(std::string_view text) {
  static const bool isUtf8 = usesUtf8();
  return isUtf8 ? printable(text) : inAscii(printable(text));
}

void complain(std::string_view text) {
  std::fprintf(stderr, "quillmoria: %s\n", displayed(withoutUserInformation(text)).c_str());
}

}  // namespace quillmoria
