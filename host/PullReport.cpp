#include "PullReport.h"

#include <algorithm>
#include <memory>

#include "Failure.h"
#include "Json.h"
#include "Pull.h"
#include "Text.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {
namespace {

int exitStatus(const PullReport& report, bool interrupted) {
  if (interrupted) {
    complain("stopped after " + report.share());
    return kInterrupted;
  }
  if (!report.isComplete()) {
    complain("the pull ended early, after " + report.share());
    return kFailed;
  }
  return report.hasFailures() ? kFailed : kDone;
}

}  // namespace

PullReport::PullReport(const Subscriptions& subscriptions, const std::string& baseFolder, const PullForm& form,
                       Output& output)
    : feeds_(subscriptions.inPullOrder()),
      baseFolder_(baseFolder),
      form_(form),
      output_(output),
      progress_(feeds_.size()) {
  for (std::size_t i = 0; i < feeds_.size(); ++i) places_.try_emplace(feeds_[i]->name, i);
}

void PullReport::EventReceived(RSSEvent event) {
  const std::int32_t id = event.GetEventID();
  if (id == kPullFinished || id == kPullFinishedOffline) isComplete_ = true;
  // Of those that are due it is not known which comes next.
  const bool isKnown = form_.scope == PullScope::All && nextPlace_ < feeds_.size();
  if (id == kFeedLoading) progress_.feedStarted(isKnown ? feeds_[nextPlace_]->name : "");
}

void PullReport::NewsReceived(RSSObject* feed, RSSEvent) {
  const std::unique_ptr<RSSObject> news(feed);
  const std::size_t place = placeOf(*news);
  const RSSObject::NewsFeed& subscribed = *feeds_[place];
  progress_.erase();
  if (!last_ && form_.connected == ConnectedState::Automatic && wasReadFromCache(*news)) {
    complain("there is no network: the news come from the cache (--online fetches all the same)");
  }
  form_.json ? printJson(subscribed, *news) : list(subscribed, *news);
  output_.flush();
  count(subscribed, *news);
  progress_.feedEnded(subscribed.name, *news);
  nextPlace_ = place + 1;
  last_ = &subscribed;
}

std::string PullReport::summary() const {
  return share() + (form_.scope == PullScope::Due ? " due: " : ": ") + counted(itemCount_, "item") + ", " +
         std::to_string(newItemCount_) + " new, " + std::to_string(failures_.size()) + " failed";
}

std::string PullReport::share() const { return std::to_string(endedCount_) + " of " + counted(feeds_.size(), "feed"); }

void PullReport::complainOfFailures() const {
  for (const std::string& failure : failures_) complain(failure);
}

/// Names are unique, and feeds that are not due are passed over.
std::size_t PullReport::placeOf(const RSSObject& news) const {
  const auto found = places_.find(news.channel.feedName);
  return found != places_.end() ? found->second : std::min(nextPlace_, feeds_.size() - 1);
}

void PullReport::printJson(const RSSObject::NewsFeed& feed, RSSObject& news) {
  loadStoredPicture(news, baseFolder_);
  output_.line(feedAsJson(feed, news));
}

void PullReport::list(const RSSObject::NewsFeed& feed, const RSSObject& news) {
  if (!last_ || last_->category != feed.category) output_.line(feed.category);
  listNews(output_, feed.name, news, form_.extent);
}

void PullReport::count(const RSSObject::NewsFeed& feed, const RSSObject& news) {
  ++endedCount_;
  newItemCount_ += news.newItemCount;
  const FeedDetails* const details = news.GetDetails();
  if (details && !details->movedTo.empty()) moves_.push_back({feed.name, feed.url, details->movedTo});
  if (hasFailed(news)) {
    failures_.push_back(feed.name + ": " + failureText(news) + " <" + feed.url + ">");
    return;
  }
  itemCount_ += static_cast<std::size_t>(std::max(news.itemCount, 0));
  if (const std::string loss = lossText(news); !loss.empty()) failures_.push_back(feed.name + ": " + loss);
}

int pullAndShow(Subscriptions& subscriptions, PullReport& report, const std::string& baseFolder, const PullForm& form,
                Output& output) {
  PullRunner runner(subscriptions, baseFolder, report);
  runner.pull();
  report.eraseProgress();
  if (!form.json) output.line(report.summary());
  output.flush();
  report.complainOfFailures();
  return exitStatus(report, runner.interrupted());
}

}  // namespace quillmoria
