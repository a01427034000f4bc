#include "PullCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BaseFolder.h"
#include "Failure.h"
#include "Json.h"
#include "NewsListing.h"
#include "Progress.h"
#include "Pull.h"
#include "SubscriptionList.h"
#include "Subscriptions.h"
#include "Text.h"
#include "WebAddress.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {
namespace {

struct PullOptions {
  std::vector<std::string> feeds;  ///< NAME=URL each
  std::string category = "News";   ///< of what stands in no container
  std::string list;                ///< path or address; none if empty
  ConnectedState connected = ConnectedState::Automatic;
  int jobs = 8;                   ///< feeds fetched at once
  int jobsPerHost = 2;            ///< of them from one host
  Extent extent = Extent::Short;  ///< of the listing
  bool json = false;
};

/// Shows what a pull brings, feed by feed in the order of the subscriptions, and counts it. Called on the pull's
/// thread, read after its end.
class PullReport : public RSSSubscriber {
 public:
  PullReport(std::vector<const RSSObject::NewsFeed*> feeds, const std::string& baseFolder, const PullOptions& options,
             Output& output)
      : feeds_(std::move(feeds)),
        baseFolder_(baseFolder),
        options_(options),
        output_(output),
        progress_(feeds_.size()) {}

  void EventReceived(RSSEvent event) override {
    if (event.GetEventID() == kFeedLoading) progress_.feedStarted(feeds_[endedCount_]->name);
  }

  /// A throw, as of output that cannot be written, ends the pull.
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> news(feed);
    const RSSObject::NewsFeed& subscribed = *feeds_[endedCount_];
    progress_.erase();
    if (endedCount_ == 0 && options_.connected == ConnectedState::Automatic && wasReadFromCache(*news)) {
      complain("there is no network: the news come from the cache (--online fetches all the same)");
    }
    options_.json ? printJson(subscribed, *news) : list(subscribed, *news);
    output_.flush();
    count(subscribed, *news);
    progress_.feedEnded(subscribed.name, *news);
  }

  /// "2 of 3 feeds: 10 items, 4 new, 1 failed"
  std::string summary() const {
    return share() + ": " + counted(itemCount_, "item") + ", " + std::to_string(newItemCount_) + " new, " +
           std::to_string(failures_.size()) + " failed";
  }

  void complainOfFailures() const {
    for (const std::string& failure : failures_) complain(failure);
  }

  /// Says of each feed that has moved for good where to.
  void complainOfMoves() const {
    for (const std::string& move : moves_) complain(move);
  }

  void eraseProgress() const { progress_.erase(); }
  bool complete() const { return endedCount_ == feeds_.size(); }
  bool failed() const { return !failures_.empty(); }

  /// "2 of 3 feeds"
  std::string share() const { return std::to_string(endedCount_) + " of " + counted(feeds_.size(), "feed"); }

 private:
  /// Whether there are items that are new, or that could not be compared with the cache.
  static bool hasUnseenItems(const RSSObject& news) {
    const auto* const items = news.getNewsItems();
    return std::any_of(items, items + news.itemCount, [](const auto& item) { return item.status != kSeenItem; });
  }

  void printJson(const RSSObject::NewsFeed& feed, RSSObject& news) {
    loadStoredPicture(news, baseFolder_);
    output_.line(feedAsJson(feed, news));
  }

  void list(const RSSObject::NewsFeed& feed, const RSSObject& news) {
    if (endedCount_ == 0 || feeds_[endedCount_ - 1]->category != feed.category) output_.line(feed.category);
    listNews(output_, feed.name, news, options_.extent);
  }

  void count(const RSSObject::NewsFeed& feed, const RSSObject& news) {
    ++endedCount_;
    newItemCount_ += news.newItemCount;
    const FeedDetails* const details = news.GetDetails();
    if (details && !details->movedTo.empty()) {
      moves_.push_back(feed.name + ": has moved to " + details->movedTo + ": subscribe to that");
    }
    if (hasFailed(news)) {
      failures_.push_back(feed.name + ": " + failureText(news) + " <" + feed.url + ">");
      return;
    }
    itemCount_ += static_cast<std::size_t>(std::max(news.itemCount, 0));
    if (wasFetched(news) && hasUnseenItems(news) && !news.WasStored()) {
      failures_.push_back(feed.name + (details ? ": its news cannot be kept" : ": its cache file cannot be written") +
                          " (is the disk full or read-only?): its items will be new again");
    }
  }

  const std::vector<const RSSObject::NewsFeed*> feeds_;
  const std::string& baseFolder_;
  const PullOptions& options_;
  Output& output_;
  Progress progress_;
  std::size_t endedCount_ = 0;
  std::size_t itemCount_ = 0;
  long newItemCount_ = 0;
  std::vector<std::string> failures_;
  std::vector<std::string> moves_;
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

Subscriptions subscriptionsOf(const PullOptions& options, Profile profile, const std::string& baseFolder) {
  Subscriptions subscriptions;
  for (const std::string& feed : options.feeds) subscribe(feed, options.category, profile, subscriptions);
  if (!options.list.empty()) {
    subscribe(*readSubscriptionList(options.list, baseFolder)->GetOPMLDoc(), options.category, profile, subscriptions);
    if (subscriptions.empty()) throw Failure(kWrongUse, options.list + " names no feed: give a list that does");
  }
  if (subscriptions.empty()) throw Failure(kWrongUse, "there is nothing to pull: name feeds with --feed or --opml");
  return subscriptions;
}

int exitStatus(const PullReport& report, bool interrupted) {
  if (interrupted) {
    complain("stopped after " + report.share());
    return kInterrupted;
  }
  if (!report.complete()) {
    complain("the pull ended early, after " + report.share());
    return kFailed;
  }
  return report.failed() ? kFailed : kDone;
}

int run(const PullOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  Output& output = invocation.output;
  SetConnectedState(options.connected);
  NewsServer::SetParallelFetches(options.jobs, options.jobsPerHost);
  Subscriptions subscriptions = subscriptionsOf(options, invocation.profile, baseFolder);
  PullReport report(subscriptions.inPullOrder(), baseFolder, options, output);

  PullRunner runner(subscriptions, baseFolder, report);
  runner.pull();

  report.eraseProgress();
  if (!options.json) output.line(report.summary());
  output.flush();
  report.complainOfFailures();
  report.complainOfMoves();
  return exitStatus(report, runner.interrupted());
}

}  // namespace

Command addPull(CLI::App& app) {
  const auto options = std::make_shared<PullOptions>();
  CLI::App* pull = declareCommand(app, "pull", "Fetch feeds and show what is new");
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
      "--offline", [options] { options->connected = ConnectedState::Disconnected; }, "Read the feeds from the cache");
  pull->add_flag_callback(
          "--online", [options] { options->connected = ConnectedState::Connected; },
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
      "--all", [options] { options->extent = Extent::Whole; }, "List all items of a feed, with their whole titles");
  pull->add_flag("--json", options->json, "Print one line of JSON per feed");
  return {pull, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
