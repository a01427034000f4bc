#pragma once

#include <cstddef>
#include <string>

namespace quillmoria {

/// How far the pull is that is under way, or how the last one has ended.
struct RefreshState {
  bool isRunning = false;
  std::size_t done = 0;      ///< feeds that are through
  std::size_t all = 0;       ///< of so many; 0: none has been pulled since the start
  std::size_t newItems = 0;  ///< that they brought
  std::size_t failed = 0;    ///< feeds that could not be had
  std::string feed{};        ///< the name of the one that is being loaded
  bool isOffline = false;    ///< whether the machine was found to be offline, so that nothing was asked for
};

/// A feed that a pull is through with.
struct RefreshStep {
  std::string category;
  std::string feed;     ///< its name
  std::string outcome;  ///< "3 items, 1 new", or why it could not be had
  bool isNew = false;   ///< whether it has brought something
  bool failed = false;
};

}  // namespace quillmoria
