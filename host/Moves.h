#pragma once

#include <string>
#include <vector>

#include "PullReport.h"

namespace quillmoria {

/// Gives subscriptions whose feeds have moved for good their new addresses, and says so. Throws Failure.
void followMoves(const std::vector<Move>& moves, const std::string& baseFolder);

}  // namespace quillmoria
