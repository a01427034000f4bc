#include "ListCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Archive.h"
#include "BaseFolder.h"
#include "Failure.h"
#include "Json.h"
#include "OwnFeeds.h"
#include "SubscriptionFile.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// ": 3 unread, fails: HTTP 404 Not Found (2 pulls)", as far as there is something to say.
std::string stateOf(const ArchivedFeed& known) {
  std::string state = ": " + std::to_string(known.unreadCount) + " unread";
  if (known.failures > 0) {
    state += ", fails: " + known.lastStatus + " (" + counted(static_cast<std::size_t>(known.failures), "pull") + ")";
  }
  return state;
}

int run(bool json, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  Subscriptions subscriptions;
  std::vector<OwnFeed> feeds = ownFeeds(readSubscriptions(baseFolder), subscriptions);
  if (feeds.empty()) {
    complain("nothing is subscribed to: add a feed with quillmoria add URL, or a list with quillmoria import FILE");
  }
  std::ranges::stable_sort(feeds, {}, &OwnFeed::category);
  const std::map<std::string, ArchivedFeed> archived = archivedFeeds(baseFolder);
  const OwnFeed* last = nullptr;
  for (const OwnFeed& feed : feeds) {
    const auto found = archived.find(addressKey(feed.url));
    const ArchivedFeed* const known = found == archived.end() ? nullptr : &found->second;
    if (json) {
      invocation.output.line(subscriptionAsJson(feed, known));
    } else {
      if (!last || last->category != feed.category) invocation.output.line(feed.category);
      invocation.output.line("  " + nameAndAddress(feed) + (known ? stateOf(*known) : ""));
    }
    last = &feed;
  }
  invocation.output.flush();
  return kDone;
}

}  // namespace

Command addList(CLI::App& app) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* command = declareCommand(app, "list", "Show what is subscribed to, by category");
  command->add_flag("--json", *json, "Print one line of JSON per feed");
  return {command, [json](const Invocation& invocation) { return run(*json, invocation); }};
}

}  // namespace quillmoria
