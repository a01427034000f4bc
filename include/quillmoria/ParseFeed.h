#pragma once

#include <memory>
#include <string_view>

#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"
#include "quillmoria/export.h"

namespace quillmoria {

/// Reads a feed document that the host has fetched itself, by the modern rules whatever the profile: RSS 0.90 to 2.0,
/// Atom 0.3 and 1.0, JSON Feed 1.0 and 1.1.
///
///     const auto feed = ParseFeed(body, "application/rss+xml; charset=utf-8", "https://example.org/feed.xml");
///     if (feed->itemCount < 0) complain(feed->statusMessage);
///     show(feed->channel.titleW, feed->GetDetails()->siteUrl);
///
/// `document` holds the bytes as they came, in any character set; `contentType` is the HTTP header's value, empty if
/// unknown; `url` is where the document came from: relative addresses are resolved against it. The object has details;
/// a failure leaves `itemCount` -1, says why in `statusMessage`, and has the outcome NotAFeed, Malformed or NoMemory.
/// Touches neither network nor disk, so the object has no picture. Linear in the document's size. Any thread. Throws
/// std::bad_alloc where there is no memory even for a failure.
QUILLMORIA_EXPORT std::unique_ptr<RSSObject> ParseFeed(std::string_view document, std::string_view contentType,
                                                       std::string_view url);

}  // namespace quillmoria

// The interface's classes are global, and so is what is called beside them.
using quillmoria::ParseFeed;
