#pragma once

#include <cstdint>
#include <string>

#include "quillmoria/NewsDetails.h"

namespace quillmoria {

/// "HTTP 404 Not Found": `status` in words that do not depend on the server.
std::string statusText(std::int32_t status);

/// What has become of a feed whose server has answered with `status`, which brings no document.
Outcome outcomeOf(std::int32_t status);

/// Says that a server is not asked before `moment`, in seconds since 1970.
std::string notAskedText(std::int64_t moment);

}  // namespace quillmoria
