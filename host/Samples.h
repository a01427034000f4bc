#pragma once

#include <span>
#include <string_view>

namespace quillmoria {

/// A file that the demo serves. "@SERVER@" in it stands for the server's address.
struct Sample {
  std::string_view target;  ///< "/example-news.rss"
  std::string_view bytes;
};

/// The files of host/samples, which are built into the program.
std::span<const Sample> samples();

}  // namespace quillmoria
