#pragma once

#include <string>

#include "Output.h"

namespace quillmoria {

struct OpmlOptions {
  std::string list;  ///< path or address
  bool json = false;
};

/// Shows the tree of a subscription list. Returns the exit status. Throws Failure.
int opmlCommand(const OpmlOptions& options, const std::string& baseFolder, Output& output);

}  // namespace quillmoria
