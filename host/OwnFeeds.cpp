#include "OwnFeeds.h"

#include "FeedWalk.h"
#include "SubscriptionList.h"
#include "WebAddress.h"

namespace quillmoria {

std::vector<OwnFeed> ownFeeds(const OPMLDoc& list, Subscriptions& subscriptions) {
  std::vector<OwnFeed> feeds;
  FeedWalk walk(list);
  while (const OPMLDoc::OutlineStruct* feed = walk.next()) {
    const std::string own = categoryOf(walk.path());
    OwnFeed& entry = feeds.emplace_back(own.empty() ? kDefaultCategory : own, labelOf(*feed), "", feed->xmlUrl);
    entry.name = subscriptions.add(entry.category, entry.label, entry.url);
  }
  return feeds;
}

std::string nameAndAddress(const OwnFeed& feed) { return feed.name + " <" + withoutUserInformation(feed.url) + ">"; }

}  // namespace quillmoria
