#pragma once

#include <cstdint>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// How much a pull fetches at once.
struct FetchLimits {
  std::int32_t feeds = 1;    ///< in all; 1 is one feed after the other
  std::int32_t perHost = 2;  ///< from one host and port
};

/// What a pull looks at once, when it begins. The offline mode, the base folder and the count of the categories may
/// change meanwhile and are read where they are used.
struct PullSettings {
  RSSObject::CategoryHolderStruct categories;
  FetchLimits fetchLimits;
};

}  // namespace quillmoria
