#pragma once

#include <string>
#include <vector>

#include "DemoServer.h"
#include "Failure.h"
#include "Output.h"

namespace quillmoria {

// What the demo consists of. Each part returns kDone if all came as expected, otherwise kFailed, having complained of
// what did not, or kInterrupted.

/// Reads the samples' subscription list, pulls twice (all new, then all seen) and once offline.
ExitStatus showClassicProfile(const DemoServer& server, const std::string& baseFolder, Output& output);

/// Pulls twice: a feed that has moved, one with full texts, and one that is not well-formed.
ExitStatus showModernProfile(const DemoServer& server, const std::string& baseFolder, Output& output);

/// Complains of each line that differs. Whether none does.
bool isAsExpected(const std::vector<std::string>& came, const std::vector<std::string>& expected);

}  // namespace quillmoria
