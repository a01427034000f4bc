#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "quillmoria/CTime.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// What a document says of when it changes.
struct UpdateRules {
  std::int32_t minutes =
      -1;  ///< between two changes, by `ttl` or `sy:updatePeriod` and `sy:updateFrequency`; -1 unsaid
  std::uint32_t skipHours = 0;  ///< bit h: not in hour h, UTC
  std::uint8_t skipDays = 0;    ///< bit d: not on day d, UTC, 0 is Sunday
};

/// A document that has been read.
struct ReadFeed {
  std::unique_ptr<RSSObject> news;  ///< as ParseFeed gives it
  UpdateRules rules;
};

/// See ParseFeed.
ReadFeed readFeed(std::string_view document, std::string_view contentType, std::string_view url);

}  // namespace quillmoria
