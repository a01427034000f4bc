#include "AddCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BaseFolder.h"
#include "Failure.h"
#include "FeedTree.h"
#include "FeedWalk.h"
#include "Moves.h"
#include "OwnFeeds.h"
#include "PullReport.h"
#include "SubscriptionFile.h"
#include "SubscriptionList.h"
#include "Text.h"
#include "WebAddress.h"
#include "quillmoria/FindFeeds.h"

namespace quillmoria {
namespace {

struct AddOptions {
  std::string url;
  std::string category;
  std::string name;
  bool takesFirst = false;
};

void refuseTwice(const FeedTree& tree, const std::string& url) {
  const OPMLDoc::OutlineStruct* const feed = tree.find(url);
  if (!feed) return;
  throw Failure(kWrongUse, withoutUserInformation(url) + " is subscribed to already, as " + labelOf(*feed) + " <" +
                               withoutUserInformation(feed->xmlUrl) + ">");
}

void showChoice(const std::vector<FoundFeed>& feeds) {
  for (std::size_t i = 0; i < feeds.size(); ++i) {
    const std::string title = collapsed(feeds[i].title);
    complain(std::to_string(i + 1) + ". " + title + (title.empty() ? "<" : " <") + feeds[i].url + ">");
  }
}

/// What the user answers.
const FoundFeed& ask(const std::vector<FoundFeed>& feeds) {
  std::fprintf(stderr, "quillmoria: which one, 1 to %zu? ", feeds.size());
  std::string answer;
  std::getline(std::cin, answer);
  std::size_t number = 0;
  const std::string digits = collapsed(answer);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size() || number < 1 || number > feeds.size()) {
    throw Failure(kWrongUse, "none was chosen, and nothing is subscribed to");
  }
  return feeds[number - 1];
}

const FoundFeed& chosen(const std::vector<FoundFeed>& feeds, const AddOptions& options) {
  if (feeds.size() == 1 || options.takesFirst) return feeds.front();
  showChoice(feeds);
  if (isatty(STDIN_FILENO) && isatty(STDERR_FILENO)) return ask(feeds);
  throw Failure(kWrongUse, withoutUserInformation(options.url) + " names " + counted(feeds.size(), "feed") +
                               ": add one by its address, or the first with --first");
}

/// What the feed calls itself. A page may call it just "RSS".
std::string titleOf(const FoundFeed& feed, const std::string& page, const std::string& baseFolder) {
  if (addressKey(feed.url) == addressKey(page)) return feed.title;
  const FoundFeeds itself = FindFeeds(feed.url, baseFolder);
  return itself.feeds.size() == 1 && !itself.feeds[0].title.empty() ? itself.feeds[0].title : feed.title;
}

/// `name` as no other feed has it.
std::string nameOfItsOwn(std::string name, const OPMLDoc& list) {
  constexpr std::size_t kMaxBytesBeforeNumber = 180;  // of the 200 that names may have
  Subscriptions subscriptions;
  ownFeeds(list, subscriptions);
  std::string own = name;
  name = firstBytes(name, kMaxBytesBeforeNumber);
  for (int number = 2; !subscriptions.isFree(own); ++number) own = name + " (" + std::to_string(number) + ")";
  return own;
}

/// The feed of the address given, with the user name that it may hold.
OwnFeed find(const AddOptions& options, const std::string& baseFolder) {
  const std::optional<std::string> url = typedAddress(options.url, Profile::Modern);
  if (!url) throw Failure(kWrongUse, shownAddress(options.url) + " is no http or https address");
  OPMLDoc list = readSubscriptions(baseFolder);
  refuseTwice(FeedTree(list), *url);
  const FoundFeeds found = FindFeeds(*url, baseFolder);
  if (found.feeds.empty()) {
    throw Failure(kFailed, withoutUserInformation(*url) + ": " +
                               (found.outcome == Outcome::Fetched ? "names no feed" : found.statusMessage));
  }
  const FoundFeed& feed = chosen(found.feeds, options);
  const bool isItself = addressKey(feed.url) == addressKey(*url);
  const std::string address = isItself && hasUserInformation(*url) ? *url : feed.url;
  if (!fitsList(address)) throw Failure(kWrongUse, "the feed's address is too long to be kept");
  const std::vector<std::string> path = pathOf(options.category);
  const std::string title = options.name.empty() ? titleOf(feed, *url, baseFolder) : options.name;
  return {path.empty() ? kDefaultCategory : categoryOf(path), labelFrom(collapsed(title)), "", address};
}

void subscribe(OwnFeed& feed, const std::string& category, const std::string& baseFolder) {
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    FeedTree tree(list);
    refuseTwice(tree, feed.url);
    if (feed.label.empty()) feed.label = labelFrom(shownAddress(feed.url));
    feed.label = nameOfItsOwn(feed.label, list);
    tree.add(pathOf(category), feed.label, feed.url);
    return true;
  });
}

int run(const AddOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  OwnFeed feed = find(options, baseFolder);
  subscribe(feed, options.category, baseFolder);

  Subscriptions subscriptions;
  feed.name = subscriptions.add(feed.category, feed.label, feed.url);
  invocation.output.line("Subscribed to " + nameAndAddress(feed));
  const PullForm form{.connected = ConnectedState::Connected};
  SetConnectedState(form.connected);
  PullReport report(subscriptions, baseFolder, form, invocation.output);
  const int status = pullAndShow(subscriptions, report, baseFolder, form, invocation.output);
  followMoves(report.moves(), baseFolder);
  return status;
}

}  // namespace

Command addAdd(CLI::App& app) {
  const auto options = std::make_shared<AddOptions>();
  CLI::App* command = declareCommand(app, "add", "Subscribe to the feed of a page, and pull it");
  command->add_option("url", options->url, "The http or https address of a feed or of a page that names it")
      ->required()
      ->type_name("URL");
  command->add_option("--category", options->category, "Where it belongs, as in \"News\" or \"News / Europe\"")
      ->type_name("C");
  command->add_option("--name", options->name, "What to call it; if not given, what it calls itself")->type_name("N");
  command->add_flag("--first", options->takesFirst, "Take the first feed of a page that names several");
  return {command, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
