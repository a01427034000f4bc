#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

/// The program's standard output, kept for results alone.
///
///     Output output;  // before the engine is used
///     output.line("Example News: 3 items");
///
/// The engine prints a few fixed lines of its own on descriptor 1. So results go to a duplicate of it, and descriptor 1
/// is pointed at standard error. One thread at a time.
class Output {
 public:
  Output();

  /// Writes `text`, as it is displayed, as a line. Throws Failure if it cannot be written.
  void line(std::string_view text);

  /// How wide the terminal is that the lines go to; nothing if they go elsewhere.
  std::optional<std::size_t> columns() const;

  /// Writes a document as it stands, to a terminal in lines as they are displayed. Throws Failure likewise.
  void document(std::string_view text);

  /// Hands all lines to the system. Throws Failure if one could not be written, now or before.
  void flush();

 private:
  void write(std::string_view text);

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
  int error_ = 0;  ///< of a write that failed: on the pull's thread nobody hears of it
};

/// `text` as one line that is safe on the user's terminal, whoever wrote it: printable, and in ASCII unless the
/// environment's character set is UTF-8. Any thread.
std::string displayed(std::string_view text);

/// Writes a line with the program's name and `text`, as it is displayed and without user information in addresses, to
/// standard error. Any thread.
void complain(std::string_view text);

}  // namespace quillmoria
