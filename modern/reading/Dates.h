#pragma once

#include <string_view>

#include "quillmoria/CTime.h"

namespace quillmoria {

/// The moment that `text` names, in whatever form feeds write dates: RFC 822, 850, 1123, 2822 and 3339, W3C and ISO
/// 8601 in their reduced and basic forms, asctime. No time for what is no date, and for what is before 1970 or beyond
/// 2038-01-19. A text without a zone is in UTC.
CTime readDate(std::string_view text);

}  // namespace quillmoria
