#pragma once

#include <string>
#include <string_view>

#include "Output.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// "4 items, 2 new", with what is to be said of it ("not modified"), or the reason why there are none.
std::string outcome(const RSSObject& news);

/// How much of a feed an overview shows.
enum class Extent {
  Short,  ///< up to 50 items, new ones before others, with titles of up to 200 columns
  Whole,
};

/// A feed as a reader's overview shows it: its name and how it went, then a line per item in the feed's order, new ones
/// marked by "*".
void listNews(Output& output, std::string_view name, const RSSObject& news, Extent extent);

/// One feed in full: the channel, then each item with its time, title, author and address; what the modern profile
/// knows beyond that, but for the texts.
void listFeed(Output& output, const RSSObject& news);

}  // namespace quillmoria
