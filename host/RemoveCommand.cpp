#include "RemoveCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "BaseFolder.h"
#include "Failure.h"
#include "OwnFeeds.h"
#include "Subscribing.h"
#include "SubscriptionFile.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// The feeds called `wanted`, else those at that address.
std::vector<OwnFeed> called(const std::string& wanted, const OPMLDoc& list) {
  Subscriptions subscriptions;
  const std::vector<OwnFeed> feeds = ownFeeds(list, subscriptions);
  std::vector<OwnFeed> found;
  const auto keep = [&](const auto& isMeant) { std::ranges::copy_if(feeds, std::back_inserter(found), isMeant); };
  keep([&](const OwnFeed& feed) { return feed.name == wanted || feed.label == wanted; });
  if (found.empty()) keep([&](const OwnFeed& feed) { return addressKey(feed.url) == addressKey(wanted); });
  return found;
}

OwnFeed theOneCalled(const std::string& wanted, const OPMLDoc& list) {
  const std::vector<OwnFeed> found = called(wanted, list);
  if (found.empty()) {
    throw Failure(kWrongUse, shownAddress(wanted) + " is not subscribed to: quillmoria list tells what is");
  }
  if (found.size() > 1) {
    for (const OwnFeed& feed : found) complain(feed.category + ": " + nameAndAddress(feed));
    throw Failure(kWrongUse, "several feeds are called " + wanted + ": give the address of the one to remove");
  }
  return found.front();
}

int run(const std::string& wanted, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  const OwnFeed feed = theOneCalled(wanted, readSubscriptions(baseFolder));
  invocation.output.line("Removed " + nameAndAddress(unsubscribe(feed.url, baseFolder)));
  invocation.output.flush();
  return kDone;
}

}  // namespace

Command addRemove(CLI::App& app) {
  const auto wanted = std::make_shared<std::string>();
  CLI::App* command = declareCommand(app, "remove", "Unsubscribe from a feed and forget its items");
  command->add_option("feed", *wanted, "The feed's name or address")->required()->type_name("NAME|URL");
  return {command, [wanted](const Invocation& invocation) { return run(*wanted, invocation); }};
}

}  // namespace quillmoria
