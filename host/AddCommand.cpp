#include "AddCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "BaseFolder.h"
#include "Failure.h"
#include "Moves.h"
#include "OwnFeeds.h"
#include "PullReport.h"
#include "Subscribing.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

struct AddOptions {
  std::string url;
  std::string category;
  std::string name;
  bool takesFirst = false;
};

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

int run(const AddOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  const FeedOffer offer = findFeedsAt(options.url, baseFolder);
  const OwnFeed feed = subscribeTo(chosen(offer.feeds, options), offer, options.name, options.category, baseFolder);

  Subscriptions subscriptions;
  subscriptions.add(feed.category, feed.label, feed.url);
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
