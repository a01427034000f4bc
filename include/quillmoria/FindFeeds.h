#pragma once

#include <string>
#include <vector>

#include "quillmoria/NewsDetails.h"
#include "quillmoria/export.h"

namespace quillmoria {

/// A feed that a page offers.
struct FoundFeed {
  std::string title;  ///< as the page or the feed calls it, plain text, UTF-8; may be empty
  std::string url;    ///< absolute
  std::string type;   ///< media type, as in "application/rss+xml"; empty if unknown
};

/// What a look for feeds has come to.
struct FoundFeeds {
  std::vector<FoundFeed> feeds;        ///< in the page's order, each address once
  std::string statusMessage;           ///< kStatusOk, also if there is no feed; else why the page could not be had
  Outcome outcome = Outcome::Fetched;  ///< what became of it
};

/// Looks for the feeds of the page at `url`, by the modern rules whatever the profile: the address itself if it gives a
/// feed; else what the page's head names; else what answers as a feed where feeds often are (`/feed`, `/rss.xml`, …).
/// An address without a scheme is taken for https. At most eight requests, on the calling thread, which blocks;
/// `baseFolder` is where the settings file is looked for. Rate limits hold here as well. Any thread.
///
///     for (const FoundFeed& feed : FindFeeds("example.org", baseFolder).feeds) offer(feed.title, feed.url);
QUILLMORIA_EXPORT FoundFeeds FindFeeds(const std::string& url, const std::string& baseFolder = {});

}  // namespace quillmoria

// The interface's classes are global, and so is what is called beside them.
using quillmoria::FindFeeds;
using quillmoria::FoundFeed;
using quillmoria::FoundFeeds;
