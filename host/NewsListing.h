#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Output.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// "4 items, 2 new", or the reason why there are none.
std::string outcome(const RSSObject& news);

/// The lines of a feed as a reader's overview shows it: its name and how it went, then one an item, new ones marked by
/// "*".
std::vector<std::string> newsLines(std::string_view name, const RSSObject& news);

/// One feed in full: the channel, then each item with its time, title, author and address.
void listFeed(Output& output, const RSSObject& news);

}  // namespace quillmoria
