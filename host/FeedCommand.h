#pragma once

#include <string>

#include "Output.h"

namespace quillmoria {

struct FeedOptions {
  std::string url;
  std::string user;
  std::string passwordFile;
  bool json = false;
};

/// Fetches one feed and shows it. Returns the exit status. Throws Failure.
int feedCommand(const FeedOptions& options, const std::string& baseFolder, Output& output);

}  // namespace quillmoria
