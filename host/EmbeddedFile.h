#pragma once

#include <string_view>

namespace quillmoria {

/// A file that is built into the program.
struct EmbeddedFile {
  std::string_view target;  ///< "/example-news.rss"
  std::string_view bytes;
};

}  // namespace quillmoria
