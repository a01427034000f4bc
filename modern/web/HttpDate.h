#pragma once

#include <cstdint>
#include <string>

namespace quillmoria {

/// `moment`, in seconds since 1970, as HTTP writes it: "Sun, 06 Nov 1994 08:49:37 GMT".
std::string httpDate(std::int64_t moment);

}  // namespace quillmoria
