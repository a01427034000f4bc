#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillmoria {

/// `line` without the line feeds and carriage returns at its end.
std::string_view withoutLineEnd(std::string_view line);

/// What stands before the colon of a header line; the whole line if there is none.
std::string_view nameOf(std::string_view headerLine);

/// The content codings that `headerLines` name, in lower case, the one that was applied first at the front.
std::vector<std::string> contentCodings(std::string_view headerLines);

/// The header lines of the response that comes last, out of those of all responses to one request: provisional ones,
/// those of a proxy that opens a tunnel, refusals that are answered.
class ResponseHead {
 public:
  /// Counts what has come. Throws CInternetException for more than 256 KiB, over all responses.
  void count(std::size_t bytes);

  /// Takes a line with its line end; the first one after the end of a block is a status line. Throws
  /// CInternetException for a transfer coding that nobody has asked for.
  void add(std::string_view line);

  /// Whether the block that was begun last has had its empty line, or none has begun.
  bool isEnded() const { return isEnded_; }

  /// Status line and header lines, each ending in CR LF.
  const std::string& lines() const { return lines_; }

 private:
  std::string lines_;
  std::size_t bytes_ = 0;
  bool isEnded_ = true;
};

}  // namespace quillmoria
