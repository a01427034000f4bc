#pragma once

#include <optional>
#include <string_view>

#include "quillmoria/CTime.h"

namespace quillmoria {

/// The moment that a user means: "30m", "12h", "2d" or "3w" before `now`, or the beginning of the day "2026-11-23" by
/// the local clock. None if `text` is nothing of the kind.
std::optional<CTime> sinceMoment(std::string_view text, const CTime& now);

}  // namespace quillmoria
