#include "Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "NewsListing.h"
#include "Output.h"
#include "Text.h"

namespace quillmoria {
namespace {

constexpr std::size_t kUsualColumns = 80;
constexpr std::size_t kMaxBarColumns = 30;
constexpr std::size_t kMinBarColumns = 5;
constexpr std::string_view kEraseToEnd = "\x1b[K";

bool canMoveCursor() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDERR_FILENO) && terminal && *terminal && std::string_view(terminal) != "dumb";
}

/// Asked for at each drawing, since windows change.
std::size_t terminalColumns() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

std::string bar(std::size_t columns, std::size_t done, std::size_t all) {
  if (columns < kMinBarColumns) return "";
  const std::size_t filled = columns * done / std::max<std::size_t>(all, 1);
  return "[" + std::string(filled, '#') + std::string(columns - filled, '-') + "] ";
}

/// In one piece, so that lines of others do not come in between.
void write(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stderr); }

}  // namespace

Progress::Progress(std::size_t feedCount) : onTerminal_(canMoveCursor()), feedCount_(feedCount) {}

void Progress::feedStarted(std::string_view name) {
  underWay_ = displayed(name);
  if (onTerminal_) draw();
}

void Progress::feedEnded(std::string_view name, const RSSObject& news) {
  ++endedCount_;
  newItemCount_ += news.newItemCount;
  if (onTerminal_) return draw();
  write("[" + std::to_string(endedCount_) + "/" + std::to_string(feedCount_) + "] " +
        displayed(std::string(name) + ": " + outcome(news)) + "\n");
}

void Progress::erase() const {
  if (onTerminal_) write("\r" + std::string(kEraseToEnd));
}

void Progress::draw() const {
  // The last column stays free: some terminals go to the next line once it is written.
  const std::size_t columns = terminalColumns() - 1;
  const std::string line = bar(std::min(columns / 3, kMaxBarColumns), endedCount_, feedCount_) +
                           std::to_string(endedCount_) + "/" + std::to_string(feedCount_) + "  " +
                           std::to_string(newItemCount_) + " new  " + underWay_;
  write("\r" + std::string(firstColumns(line, columns)) + std::string(kEraseToEnd));
}

}  // namespace quillmoria
