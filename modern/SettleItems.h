#pragma once

#include "quillmoria/CTime.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Marks each item of `fresh`, which has details, as seen if `cached` has it, and as new otherwise, and counts the new
/// ones. An item that says no date has the one of the cache, or else `now`, when it is first seen.
void settleItems(RSSObject& fresh, const RSSObject& cached, CTime now);

}  // namespace quillmoria
