#pragma once

#include <string>

#include "Output.h"
#include "quillmoria/Profile.h"

namespace quillmoria {

struct FeedOptions {
  std::string url;
  std::string user;
  std::string passwordFile;
  bool json = false;
};

/// Fetches one feed and shows it. Returns the exit status. Throws Failure.
int feedCommand(const FeedOptions& options, Profile profile, const std::string& baseFolder, Output& output);

}  // namespace quillmoria
