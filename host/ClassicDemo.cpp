#include "DemoParts.h"

#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Failure.h"
#include "NewsListing.h"
#include "Pull.h"
#include "SubscriptionList.h"
#include "Subscriptions.h"
#include "Text.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/Profile.h"

namespace quillmoria {
namespace {

struct Pass {
  const char* title;
  ConnectedState connected;
  ItemStatus itemStatus;  ///< that every item is to have
  EventId lastEvent;
};

constexpr Pass kPasses[] = {
    {"First pull: everything is new", ConnectedState::Connected, kNewItem, kPullFinished},
    {"Second pull: everything has been seen", ConnectedState::Connected, kSeenItem, kPullFinished},
    {"Offline pull: everything comes from the cache", ConnectedState::Disconnected, kCachedItem, kPullFinishedOffline},
};

struct ExpectedFeed {
  const char* category;
  const char* name;
  int itemCount;
  const char* picture;
};

/// What the samples hold, in the order of their list.
constexpr ExpectedFeed kExpected[] = {
    {"News", "Example News", 3, "32 x 32"},      {"News / Local", "Example Gazette", 2, "none"},
    {"Reading", "Example Weekly", 3, "88 x 31"}, {"Reading", "Example Journal", 2, "none"},
    {"Reading", "Example Lab", 2, "none"},
};

std::string pictureText(const CPicture* picture) {
  if (!picture || !picture->picture) return "none";
  return std::to_string(picture->picture->width()) + " x " + std::to_string(picture->picture->height());
}

/// How many items have `status`.
int count(const RSSObject& news, ItemStatus status) {
  int found = 0;
  for (std::int32_t i = 0; i < news.itemCount; ++i) found += news.getNewsItems()[i].status == status;
  return found;
}

std::string feedLine(const std::string& category, const std::string& name, int items, int asExpected, int newItems,
                     const std::string& picture) {
  return category + ": " + name + ": " + counted(static_cast<std::size_t>(items), "item") + ", " +
         std::to_string(asExpected) + " of the expected status, " + std::to_string(newItems) + " new, picture " +
         picture;
}

std::string eventLine(std::int32_t id, const std::string& message = "") {
  return "event " + std::to_string(id) + (message.empty() ? "" : " ") + message;
}

/// Events and feeds of one pull as they are to come: a line each.
std::vector<std::string> expectedOf(const Pass& pass) {
  std::vector<std::string> lines{eventLine(kPullStarted)};
  const bool isFirst = &pass == std::begin(kPasses);
  for (const ExpectedFeed* feed = std::begin(kExpected); feed != std::end(kExpected); ++feed) {
    const std::string category = feed->category;
    if (feed == std::begin(kExpected) || category != feed[-1].category)
      lines.push_back(eventLine(kCategoryStarted, "category:" + category));
    lines.insert(lines.end(), {eventLine(kFeedLoading), eventLine(kFeedLoaded)});
    lines.push_back(
        feedLine(category, feed->name, feed->itemCount, feed->itemCount, isFirst ? feed->itemCount : 0, feed->picture));
    if (feed + 1 == std::end(kExpected) || category != feed[1].category) lines.push_back(eventLine(kCategoryFinished));
  }
  lines.push_back(eventLine(pass.lastEvent));
  return lines;
}

/// Prints what a pull brings as it comes, and keeps it for the check.
class DemoSubscriber : public RSSSubscriber {
 public:
  DemoSubscriber(std::vector<const RSSObject::NewsFeed*> feeds, const std::string& baseFolder, Output& output)
      : feeds_(std::move(feeds)), baseFolder_(baseFolder), output_(output) {}

  void begin(const Pass& pass) {
    pass_ = &pass;
    came_.clear();
    feedCount_ = 0;
  }

  void EventReceived(RSSEvent event) override {
    came_.push_back(eventLine(event.GetEventID(), event.GetMessage()));
    output_.line("  " + came_.back());
  }

  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> news(feed);
    loadStoredPicture(*news, baseFolder_);
    const RSSObject::NewsFeed& subscribed = *feeds_[feedCount_++];
    const std::string picture = pictureText(news->GetChannelPicture());
    came_.push_back(feedLine(subscribed.category, subscribed.name, news->itemCount, count(*news, pass_->itemStatus),
                             news->newItemCount, picture));
    listNews(output_, subscribed.name + ", picture " + picture, *news, Extent::Short);
  }

  const std::vector<std::string>& came() const { return came_; }

 private:
  const std::vector<const RSSObject::NewsFeed*> feeds_;
  const std::string& baseFolder_;
  Output& output_;
  const Pass* pass_ = nullptr;
  std::size_t feedCount_ = 0;
  std::vector<std::string> came_;
};

}  // namespace

ExitStatus showClassicProfile(const DemoServer& server, const std::string& baseFolder, Output& output) {
  SetProfile(Profile::Classic);
  SetConnectedState(ConnectedState::Connected);

  const std::string list = server.url("/subscriptions.opml");
  output.line("Subscriptions from " + list);
  Subscriptions subscriptions;
  subscribe(*readSubscriptionList(list, baseFolder)->GetOPMLDoc(), "", Profile::Classic, subscriptions);

  DemoSubscriber subscriber(subscriptions.inPullOrder(), baseFolder, output);
  PullRunner runner(subscriptions, baseFolder, subscriber);
  bool asExpected = true;
  for (const Pass& pass : kPasses) {
    output.line("");
    output.line(pass.title);
    SetConnectedState(pass.connected);
    const int requestsBefore = server.requestCount();
    subscriber.begin(pass);
    runner.pull();
    output.flush();
    if (runner.interrupted()) return kInterrupted;
    asExpected &= isAsExpected(subscriber.came(), expectedOf(pass));
    if (pass.connected == ConnectedState::Disconnected && server.requestCount() != requestsBefore) {
      complain("something was fetched although the engine was offline");
      asExpected = false;
    }
  }
  return asExpected ? kDone : kFailed;
}

}  // namespace quillmoria
