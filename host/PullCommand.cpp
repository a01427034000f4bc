#include "PullCommand.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "Failure.h"
#include "Json.h"
#include "NewsListing.h"
#include "Progress.h"
#include "Pull.h"
#include "SubscriptionList.h"
#include "Subscriptions.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

/// What a pull brought, feed by feed in the order of the subscriptions. Filled on the pull's thread, read after its
/// end.
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
    std::unique_ptr<RSSObject> news(feed);
    if (endedCount_ == 0 && options_.connected == ConnectedState::Automatic && wasReadFromCache(*news)) {
      progress_.erase();
      complain("there is no network: the news come from the cache (--online fetches all the same)");
    }
    const RSSObject::NewsFeed& subscribed = *feeds_[endedCount_++];
    progress_.feedEnded(subscribed.name, *news);
    newItemCount_ += news->newItemCount;
    if (news->itemCount < 0) {
      failures_.push_back(subscribed.name + ": " + failureText(*news) + " <" + subscribed.url + ">");
    } else {
      itemCount_ += news->itemCount;
      if (wasFetched(*news) && hasUnseenItems(*news) && !news->WasStored()) {
        failures_.push_back(subscribed.name +
                            ": its cache file cannot be written (is the disk full or read-only?): its items will be "
                            "new again");
      }
    }
    if (options_.json) {
      loadStoredPicture(*news, baseFolder_);
      output_.line(feedAsJson(subscribed, *news));
      output_.flush();
    } else {
      listings_.push_back(newsLines(subscribed.name, *news));
    }
  }

  void listByCategory() const {
    const std::string* category = nullptr;
    for (std::size_t i = 0; i < listings_.size(); ++i) {
      if (!category || *category != feeds_[i]->category) output_.line(feeds_[i]->category);
      category = &feeds_[i]->category;
      for (const std::string& line : listings_[i]) output_.line(line);
    }
    output_.line(summary());
  }

  void complainOfFailures() const {
    for (const std::string& failure : failures_) complain(failure);
  }

  void eraseProgress() const { progress_.erase(); }
  bool complete() const { return endedCount_ == feeds_.size(); }
  bool failed() const { return !failures_.empty(); }

  /// "2 of 3 feeds"
  std::string share() const { return std::to_string(endedCount_) + " of " + std::to_string(feeds_.size()) + " feeds"; }

 private:
  static bool wasFetched(const RSSObject& news) { return news.statusMessage == kStatusOk; }

  static bool wasReadFromCache(const RSSObject& news) {
    return news.itemCount < 0 ? news.statusMessage == kStatusNotCached : !wasFetched(news);
  }

  /// Whether there are items that are new, or that could not be compared with the cache.
  static bool hasUnseenItems(const RSSObject& news) {
    const auto* const items = news.getNewsItems();
    return std::any_of(items, items + news.itemCount, [](const auto& item) { return item.status != kSeenItem; });
  }

  std::string summary() const {
    return share() + ": " + std::to_string(itemCount_) + " items, " + std::to_string(newItemCount_) + " new, " +
           std::to_string(failures_.size()) + " failed";
  }

  const std::vector<const RSSObject::NewsFeed*> feeds_;
  const std::string& baseFolder_;
  const PullOptions& options_;
  Output& output_;
  Progress progress_;
  std::size_t endedCount_ = 0;
  long itemCount_ = 0;
  long newItemCount_ = 0;
  std::vector<std::string> failures_;
  std::vector<std::vector<std::string>> listings_;  ///< the lines of each feed; none where it goes out as JSON at once
};

void subscribe(const std::string& argument, const std::string& category, Subscriptions& subscriptions) {
  const std::size_t equals = argument.find('=');
  if (equals == std::string::npos) throw Failure(kWrongUse, "--feed " + argument + " is not of the form NAME=URL");
  const std::optional<std::string> url = webAddress(std::string_view(argument).substr(equals + 1));
  if (!url) throw Failure(kWrongUse, "--feed " + argument + " names no http or https address");
  subscriptions.add(category, std::string_view(argument).substr(0, equals), *url);
}

Subscriptions subscriptionsOf(const PullOptions& options, const std::string& baseFolder) {
  Subscriptions subscriptions;
  for (const std::string& feed : options.feeds) subscribe(feed, options.category, subscriptions);
  if (!options.list.empty()) {
    subscribe(*readSubscriptionList(options.list, baseFolder)->GetOPMLDoc(), options.category, subscriptions);
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

}  // namespace

int pullCommand(const PullOptions& options, const std::string& baseFolder, Output& output) {
  SetConnectedState(options.connected);
  NewsServer::SetParallelFetches(options.jobs, options.jobsPerHost);
  Subscriptions subscriptions = subscriptionsOf(options, baseFolder);
  PullReport report(subscriptions.inPullOrder(), baseFolder, options, output);

  PullRunner runner(subscriptions, baseFolder, report);
  runner.pull();

  report.eraseProgress();
  if (!options.json) report.listByCategory();
  output.flush();
  report.complainOfFailures();
  return exitStatus(report, runner.interrupted());
}

}  // namespace quillmoria
