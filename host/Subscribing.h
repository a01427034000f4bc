#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "OwnFeeds.h"
#include "quillmoria/FindFeeds.h"
#include "quillmoria/Profile.h"

namespace quillmoria {

// What changes the user's subscriptions, for the commands and the page alike. All throw Failure, and have then changed
// nothing, unless it is the archive alone that could not follow, which the text says then; any thread.

/// The feeds that a user may mean.
struct FeedOffer {
  std::string page;              ///< the address asked for, with its user information
  std::vector<FoundFeed> feeds;  ///< one at least
  std::string name{};            ///< what the user has asked for beside it; empty: nothing
  std::string category{};        ///< likewise
};

/// Looks for the feeds at what a user has typed for an address; blocks meanwhile. Fails for what is no address, is
/// subscribed to already, or has no feed.
FeedOffer findFeedsAt(const std::string& typed, const std::string& baseFolder);

/// Subscribes to `feed`, one of `offer`, in `category` (none: the default one). Its name is `name`, or else what it
/// calls itself, for which it may be asked; made one of its own by a number.
OwnFeed subscribeTo(const FoundFeed& feed, const FeedOffer& offer, const std::string& name, const std::string& category,
                    const std::string& baseFolder);

/// Gives the feed subscribed at `url` another name (none: it stays) and category (none: the default one), here and in
/// the archive.
OwnFeed changeSubscription(const std::string& url, const std::string& name, const std::string& category,
                           const std::string& baseFolder);

/// Ends the subscription at `url` and forgets the feed's items.
OwnFeed unsubscribe(const std::string& url, const std::string& baseFolder);

/// What an import has come to.
struct ImportCounts {
  std::size_t added = 0;
  std::size_t known = 0;
  std::size_t leftOut = 0;
};

/// "5 feeds: 4 new, 1 subscribed to already, 0 left out"
std::string textOf(const ImportCounts& counts);

/// Subscribes to the feeds of the list at `source`, a path or address, that are not there yet.
ImportCounts importList(const std::string& source, const std::string& baseFolder, Profile profile);

/// As importList, of the text of a list.
ImportCounts importText(std::string_view list, const std::string& baseFolder, Profile profile);

/// The subscriptions as a list in OPML form to be given to others: without user information.
std::string exportedList(const std::string& baseFolder);

/// Subscribes to the sample feeds as served at `server` ("http://127.0.0.1:8080"). Returns how many are new.
std::size_t subscribeToSamples(const std::string& server, const std::string& baseFolder);

}  // namespace quillmoria
