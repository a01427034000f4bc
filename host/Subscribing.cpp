#include "Subscribing.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>

#include "Archive.h"
#include "Failure.h"
#include "FeedTree.h"
#include "FeedWalk.h"
#include "OutlineWalk.h"
#include "SampleFeeds.h"
#include "SubscriptionFile.h"
#include "SubscriptionList.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

void refuseTwice(const FeedTree& tree, const std::string& url) {
  const OPMLDoc::OutlineStruct* const feed = tree.find(url);
  if (!feed) return;
  throw Failure(kWrongUse, withoutUserInformation(url) + " is subscribed to already, as " + labelOf(*feed) + " <" +
                               withoutUserInformation(feed->xmlUrl) + ">");
}

std::vector<OwnFeed> ownFeedsOf(const OPMLDoc& list) {
  Subscriptions subscriptions;
  return ownFeeds(list, subscriptions);
}

/// The feed at `url`, an address that the list has.
OwnFeed ownFeedAt(const std::string& url, const OPMLDoc& list) {
  const std::vector<OwnFeed> feeds = ownFeedsOf(list);
  return *std::ranges::find(feeds, addressKey(url), [](const OwnFeed& feed) { return addressKey(feed.url); });
}

/// What the feed calls itself. A page may call it just "RSS".
std::string titleOf(const FoundFeed& feed, const std::string& page, const std::string& baseFolder) {
  if (addressKey(feed.url) == addressKey(page)) return feed.title;
  const FoundFeeds itself = FindFeeds(feed.url, baseFolder);
  return itself.feeds.size() == 1 && !itself.feeds[0].title.empty() ? itself.feeds[0].title : feed.title;
}

/// `label` as none of the subscriptions has it.
std::string ofItsOwn(std::string label, const Subscriptions& subscriptions) {
  constexpr std::size_t kMaxBytesBeforeNumber = 180;  // of the 200 that names may have
  std::string own = label;
  label = firstBytes(label, kMaxBytesBeforeNumber);
  for (int number = 2; !subscriptions.isFree(own); ++number) own = label + " (" + std::to_string(number) + ")";
  return own;
}

/// The label of a feed at `url` that is to be called `name`, unlike any of the others.
std::string labelFor(const std::string& name, const std::string& url, const std::vector<OwnFeed>& others) {
  Subscriptions subscriptions;
  for (const OwnFeed& feed : others) subscriptions.add(feed.category, feed.label, feed.url);
  const std::string label = labelFrom(collapsed(name));
  return ofItsOwn(label.empty() ? labelFrom(shownAddress(url)) : label, subscriptions);
}

OPMLDoc::OutlineStruct& subscribedAt(const std::string& url, const FeedTree& tree) {
  OPMLDoc::OutlineStruct* const feed = tree.find(url);
  if (!feed) throw Failure(kWrongUse, shownAddress(url) + " is not subscribed to");
  return *feed;
}

/// What pulls call otherwise than before. A name loses its number when the other feed called so goes.
std::vector<OwnFeed> calledOtherwise(const std::vector<OwnFeed>& before, const std::vector<OwnFeed>& after) {
  std::map<std::string, const OwnFeed*> known;
  for (const OwnFeed& feed : before) known.try_emplace(feed.url, &feed);
  std::vector<OwnFeed> changed;
  std::ranges::copy_if(after, std::back_inserter(changed), [&known](const OwnFeed& feed) {
    const auto old = known.find(feed.url);
    return old != known.end() && (old->second->name != feed.name || old->second->category != feed.category);
  });
  return changed;
}

void call(OPMLDoc::OutlineStruct& feed, const OwnFeed& now, const std::string& name, std::vector<OwnFeed> all) {
  if (name.empty() || name == now.name) return;
  std::erase_if(all, [&now](const OwnFeed& each) { return each.url == now.url; });
  feed.text = toUtf16(labelFor(name, now.url, all));
}

/// What stands where the category says stays there, wherever among the others that is.
void place(const std::string& category, OPMLDoc::OutlineStruct& feed, const OwnFeed& now, FeedTree& tree) {
  const std::vector<std::string> path = pathOf(category.empty() ? kDefaultCategory : category);
  if (path != pathOf(now.category)) tree.place(feed, pathOf(category));
}

/// Lets the archive follow the list, which is changed already.
void follow(const std::string& changed, const std::function<void()>& change) {
  try {
    change();
  } catch (const Failure& failure) {
    throw Failure(failure.status(), changed + ", but the archive is as it was: " + failure.what());
  }
}

ImportCounts merge(const OPMLDoc& from, OPMLDoc& into, Profile profile) {
  ImportCounts counts;
  FeedTree tree(into);
  FeedWalk walk(from);
  while (const OPMLDoc::OutlineStruct* feed = walk.next()) {
    const std::optional<std::string> url = webAddress(feed->xmlUrl, profile);
    if (!url || !fitsList(*url)) {
      complainOfAddress(*feed, profile);
      ++counts.leftOut;
    } else if (tree.find(*url)) {
      ++counts.known;
    } else {
      OPMLDoc::OutlineStruct& own = tree.add(walk.path(), labelOf(*feed), *url);
      own.url = feed->url;
      own.description = feed->description;
      ++counts.added;
    }
  }
  return counts;
}

std::size_t sumOf(const ImportCounts& counts) { return counts.added + counts.known + counts.leftOut; }

ImportCounts import(OPMLDoc& from, const std::string& source, const std::string& baseFolder, Profile profile) {
  unwrap(from);
  ImportCounts counts;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    counts = merge(from, list, profile);
    return counts.added > 0;
  });
  if (sumOf(counts) == 0) throw Failure(kWrongUse, source + " names no feed: give a list that does");
  return counts;
}

/// Lists are given to others.
void forgetUserInformation(const OPMLDoc& list) {
  OutlineWalk walk(list);
  while (const OPMLDoc::OutlineStruct* outline = walk.next()) {
    auto* const own = const_cast<OPMLDoc::OutlineStruct*>(outline);
    own->xmlUrl = withoutUserInformation(own->xmlUrl);
    own->url = withoutUserInformation(own->url);
  }
}

/// Moves the sample feeds of another port to `server`. Returns the addresses that they had.
std::vector<std::string> moveSamples(const std::string& server, OPMLDoc& list) {
  std::vector<std::string> left;
  FeedTree tree(list);
  for (const OwnFeed& feed : ownFeedsOf(list)) {
    const std::optional<SampleAddress> sample = sampleAddress(feed.url);
    OPMLDoc::OutlineStruct* const outline = tree.find(feed.url);
    if (!sample || !outline || feed.url.starts_with(server + "/")) continue;
    const std::string url = server + sample->target;
    if (tree.find(url)) {
      tree.remove(*outline);
    } else {
      tree.move(*outline, url);
    }
    left.push_back(feed.url);
  }
  return left;
}

/// Gives the samples of which `tree` has the new address that address.
void followMovesOf(const OPMLDoc& samples, const FeedTree& tree, const std::string& server) {
  FeedWalk walk(samples);
  while (const OPMLDoc::OutlineStruct* feed = walk.next()) {
    const std::optional<SampleAddress> sample = sampleAddress(feed->xmlUrl);
    const std::string now = sample ? server + sample->target : "";
    if (tree.find(now)) const_cast<OPMLDoc::OutlineStruct*>(feed)->xmlUrl = now;
  }
}

}  // namespace

FeedOffer findFeedsAt(const std::string& typed, const std::string& baseFolder) {
  if (collapsed(typed).empty()) throw Failure(kWrongUse, "give the address of a feed or of a site");
  const std::optional<std::string> url = typedAddress(typed, Profile::Modern);
  if (!url) throw Failure(kWrongUse, shownAddress(typed) + " is no http or https address");
  OPMLDoc list = readSubscriptions(baseFolder);
  refuseTwice(FeedTree(list), *url);
  FoundFeeds found = FindFeeds(*url, baseFolder);
  if (found.feeds.empty()) {
    throw Failure(kFailed, withoutUserInformation(*url) + ": " +
                               (found.outcome == Outcome::Fetched
                                    ? "names no feed: give the address of a feed itself, if the site has one"
                                    : found.statusMessage));
  }
  return {*url, std::move(found.feeds)};
}

OwnFeed subscribeTo(const FoundFeed& feed, const FeedOffer& offer, const std::string& name, const std::string& category,
                    const std::string& baseFolder) {
  const bool isItself = addressKey(feed.url) == addressKey(offer.page);
  const std::string url = isItself && hasUserInformation(offer.page) ? offer.page : feed.url;
  if (!fitsList(url)) throw Failure(kWrongUse, "the feed's address is too long to be kept");
  const std::string title = name.empty() ? titleOf(feed, offer.page, baseFolder) : name;
  OwnFeed subscribed;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    FeedTree tree(list);
    refuseTwice(tree, url);
    tree.add(pathOf(category), labelFor(title, url, ownFeedsOf(list)), url);
    subscribed = ownFeedAt(url, list);
    return true;
  });
  return subscribed;
}

OwnFeed changeSubscription(const std::string& url, const std::string& name, const std::string& category,
                           const std::string& baseFolder) {
  OwnFeed changed;
  std::vector<OwnFeed> otherwise;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    FeedTree tree(list);
    OPMLDoc::OutlineStruct& feed = subscribedAt(url, tree);
    const std::vector<OwnFeed> before = ownFeedsOf(list);
    const OwnFeed now = ownFeedAt(url, list);
    call(feed, now, labelFrom(collapsed(name)), before);
    place(category, feed, now, tree);
    changed = ownFeedAt(url, list);
    otherwise = calledOtherwise(before, ownFeedsOf(list));
    return changed.label != now.label || changed.category != now.category;
  });
  follow("Changed " + nameAndAddress(changed), [&] { renameFeeds(baseFolder, otherwise); });
  return changed;
}

OwnFeed unsubscribe(const std::string& url, const std::string& baseFolder) {
  OwnFeed removed;
  std::vector<OwnFeed> otherwise;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    FeedTree tree(list);
    OPMLDoc::OutlineStruct& feed = subscribedAt(url, tree);
    const std::vector<OwnFeed> before = ownFeedsOf(list);
    removed = ownFeedAt(url, list);
    tree.remove(feed);
    otherwise = calledOtherwise(before, ownFeedsOf(list));
    return true;
  });
  follow("Removed " + nameAndAddress(removed), [&] {
    forgetFeed(baseFolder, removed.url);
    renameFeeds(baseFolder, otherwise);
  });
  return removed;
}

std::string textOf(const ImportCounts& counts) {
  return counted(sumOf(counts), "feed") + ": " + std::to_string(counts.added) + " new, " +
         std::to_string(counts.known) + " subscribed to already, " + std::to_string(counts.leftOut) + " left out";
}

ImportCounts importList(const std::string& source, const std::string& baseFolder, Profile profile) {
  const std::unique_ptr<OPMLParser> parser = readSubscriptionList(source, baseFolder);
  return import(*parser->GetOPMLDoc(), source, baseFolder, profile);
}

ImportCounts importText(std::string_view list, const std::string& baseFolder, Profile profile) {
  constexpr const char* kSource = "the file";
  const std::unique_ptr<OPMLParser> parser = parseSubscriptionList(list, kSource, baseFolder);
  return import(*parser->GetOPMLDoc(), kSource, baseFolder, profile);
}

std::string exportedList(const std::string& baseFolder) {
  OPMLDoc list = readSubscriptions(baseFolder);
  forgetUserInformation(list);
  if (list.head.title.empty()) list.head.title = u"Subscriptions";
  return WriteOPML(list);
}

std::size_t subscribeToSamples(const std::string& server, const std::string& baseFolder) {
  const auto parser = parseSubscriptionList(sampleList(server), "the list of samples", baseFolder);
  std::vector<std::string> left;
  std::size_t added = 0;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    left = moveSamples(server, list);
    followMovesOf(*parser->GetOPMLDoc(), FeedTree(list), server);
    added = merge(*parser->GetOPMLDoc(), list, Profile::Modern).added;
    return added + left.size() > 0;
  });
  for (const std::string& url : left) forgetFeed(baseFolder, url);
  return added;
}

}  // namespace quillmoria
