#pragma once

#include <string>

#include "Output.h"

namespace quillmoria {

struct FindOptions {
  std::string url;
  bool json = false;
};

/// Shows the feeds of a page, a line each. Returns the exit status. Throws Failure.
int findCommand(const FindOptions& options, const std::string& baseFolder, Output& output);

}  // namespace quillmoria
