#pragma once

#include <string>
#include <vector>

#include "NewsListing.h"
#include "Output.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/Profile.h"

namespace quillmoria {

struct PullOptions {
  std::vector<std::string> feeds;  ///< NAME=URL each
  std::string category = "News";   ///< of what stands in no container
  std::string list;                ///< path or address; none if empty
  ConnectedState connected = ConnectedState::Automatic;
  int jobs = 8;                   ///< feeds fetched at once
  int jobsPerHost = 2;            ///< of them from one host
  Extent extent = Extent::Short;  ///< of the listing
  bool json = false;
};

/// One pull over the feeds named and the feeds of the list, which shows progress and the news by category as they come.
/// Returns the exit status. Throws Failure.
int pullCommand(const PullOptions& options, Profile profile, const std::string& baseFolder, Output& output);

}  // namespace quillmoria
