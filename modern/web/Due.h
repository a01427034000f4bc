#pragma once

#include <cstdint>

#include "modern/reading/ReadFeed.h"
#include "modern/web/ResponseFields.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {

// Moments are in seconds since 1970.

/// The seconds for which a document that came with `fields` is fresh; -1 if they do not say.
std::int64_t freshSeconds(const ResponseFields& fields);

/// When asking again makes sense for a feed that was had: the latest of what is known, within a week. `notBefore` is 0
/// for a server that may be asked.
std::int64_t dueAfterFeed(std::int64_t asked, std::int64_t freshFor, const UpdateRules& rules, std::int64_t notBefore);

/// Likewise for one that was not, for the `failures`th time in a row that a server has answered so.
std::int64_t dueAfterFailure(std::int64_t asked, Outcome outcome, std::int32_t failures, std::int64_t notBefore);

}  // namespace quillmoria
