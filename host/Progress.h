#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Tells how far a pull is, on standard error: by a bar in the last line of a terminal, otherwise by a line per feed.
///
///     Progress progress(2);
///     progress.feedStarted("Example News");
///     progress.feedEnded("Example News", *news);
///     progress.erase();
///
/// One thread at a time.
class Progress {
 public:
  explicit Progress(std::size_t feedCount);

  void feedStarted(std::string_view name);
  void feedEnded(std::string_view name, const RSSObject& news);

  /// Takes the bar off the terminal.
  void erase() const;

 private:
  void draw() const;

  bool onTerminal_;
  std::size_t feedCount_;
  std::size_t endedCount_ = 0;
  long newItemCount_ = 0;
  std::string underWay_;
};

}  // namespace quillmoria
