#include "PullCommand.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BaseFolder.h"
#include "Failure.h"
#include "Moves.h"
#include "PullReport.h"
#include "SubscriptionFile.h"
#include "SubscriptionList.h"
#include "Subscriptions.h"
#include "WebAddress.h"
#include "quillmoria/ConnectedState.h"

namespace quillmoria {
namespace {

struct PullOptions {
  std::vector<std::string> feeds;  ///< NAME=URL each
  std::string category = kDefaultCategory;
  std::string list;     ///< path or address; none if empty
  int jobs = 8;         ///< feeds fetched at once
  int jobsPerHost = 2;  ///< of them from one host
  PullForm form;
};

void subscribe(const std::string& argument, const std::string& category, Profile profile,
               Subscriptions& subscriptions) {
  const std::size_t equals = argument.find('=');
  if (equals == std::string::npos) throw Failure(kWrongUse, "--feed " + argument + " is not of the form NAME=URL");
  const std::string name = argument.substr(0, equals);
  const std::string address = argument.substr(equals + 1);
  const std::optional<std::string> url = typedAddress(address, profile);
  if (!url) {
    throw Failure(kWrongUse, "--feed " + name + "=" + shownAddress(address) + " names no http or https address" +
                                 (profile == Profile::Classic ? ", or one with a user name" : ""));
  }
  subscriptions.add(category, name, *url);
}

/// Whether the pull is over the user's own subscriptions.
bool isOverOwn(const PullOptions& options) { return options.feeds.empty() && options.list.empty(); }

Subscriptions subscriptionsOf(const PullOptions& options, Profile profile, const std::string& baseFolder) {
  Subscriptions subscriptions;
  for (const std::string& feed : options.feeds) subscribe(feed, options.category, profile, subscriptions);
  if (!options.list.empty()) {
    subscribe(*readSubscriptionList(options.list, baseFolder)->GetOPMLDoc(), options.category, profile, subscriptions);
    if (subscriptions.empty()) throw Failure(kWrongUse, options.list + " names no feed: give a list that does");
  }
  if (isOverOwn(options)) {
    subscribe(readSubscriptions(baseFolder), options.category, profile, subscriptions);
    if (subscriptions.empty()) {
      throw Failure(kWrongUse,
                    "nothing is subscribed to: add a feed with quillmoria add URL, take over a list with quillmoria " +
                        std::string("import FILE, or name feeds with --feed or --opml"));
    }
  }
  return subscriptions;
}

int run(const PullOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  SetConnectedState(options.form.connected);
  NewsServer::SetParallelFetches(options.jobs, options.jobsPerHost);
  NewsServer::SetPullScope(options.form.scope);
  Subscriptions subscriptions = subscriptionsOf(options, invocation.profile, baseFolder);
  PullReport report(subscriptions, baseFolder, options.form, invocation.output);
  const int status = pullAndShow(subscriptions, report, baseFolder, options.form, invocation.output);
  if (isOverOwn(options)) {
    followMoves(report.moves(), baseFolder);
  } else {
    for (const Move& move : report.moves()) complain(move.name + ": has moved to " + move.to + ": subscribe to that");
  }
  return status;
}

}  // namespace

Command addPull(CLI::App& app) {
  const auto options = std::make_shared<PullOptions>();
  CLI::App* pull = declareCommand(app, "pull", "Fetch what is subscribed to, or the feeds named, and show what is new");
  pull->add_option("--feed", options->feeds,
                   "A feed and its address; may be repeated. Its cache file has the name, with _ for characters that "
                   "no file name may hold, slashes included")
      ->type_name("NAME=URL")
      ->allow_extra_args(false);
  pull->add_option("--category", options->category, "The category of feeds that stand in no container of a list")
      ->type_name("C")
      ->capture_default_str();
  pull->add_option("--opml", options->list, "A subscription list in OPML form")->type_name("FILE|URL");
  CLI::Option* offline = pull->add_flag_callback(
      "--offline", [options] { options->form.connected = ConnectedState::Disconnected; },
      "Read the feeds from the cache");
  pull->add_flag_callback(
          "--online", [options] { options->form.connected = ConnectedState::Connected; },
          "Fetch even if the machine seems to be offline")
      ->excludes(offline);
  const CLI::Range jobs(1, 64);
  pull->add_option("--jobs", options->jobs, "Fetch up to N feeds at once")
      ->type_name("N")
      ->check(jobs)
      ->capture_default_str();
  pull->add_option("--jobs-per-host", options->jobsPerHost, "and of them up to N from one host and port")
      ->type_name("N")
      ->check(jobs)
      ->capture_default_str();
  pull->add_flag_callback(
      "--all", [options] { options->form.extent = Extent::Whole; },
      "List all items of a feed, with their whole titles");
  pull->add_flag_callback(
      "--due", [options] { options->form.scope = PullScope::Due; },
      "Pass over what is not worth asking yet: for timers");
  pull->add_flag("--json", options->form.json, "Print one line of JSON per feed");
  return {pull, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
