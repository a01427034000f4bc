#pragma once

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// Marks each item of `fresh` as seen if `cached` has it, and as new otherwise, and adds the new
/// ones to `fresh.newItemCount`. An item with an identifier is looked up by it, any other by its link; the first cached
/// item with that key is the match, and its date is carried over. Linear in the number of items of both.
void matchItems(RSSObject& fresh, const RSSObject& cached);

/// Takes back what matchItems has marked and counted, also where an exception has ended it.
void unmatchItems(RSSObject& fresh);

}  // namespace quillmoria
