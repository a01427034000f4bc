#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "DemoParts.h"
#include "NewsListing.h"
#include "Pull.h"
#include "Subscriptions.h"
#include "Text.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/Html.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/Profile.h"

namespace quillmoria {
namespace {

struct Pass {
  const char* title;
  const char* answer;  ///< of the server, to every feed
  const char* items;   ///< of every feed
};

constexpr Pass kPasses[] = {
    {"Modern profile: a feed that has moved, one with full texts, one that is not well-formed", "HTTP 200",
     "2 items, 2 new"},
    {"Modern profile, second pull: nothing has changed, and no feed is sent again", "HTTP 304",
     "2 items, 0 new, not modified"},
};

struct ExpectedFeed {
  const char* name;
  const char* target;  ///< of the address that is subscribed to
  const char* format;
  const char* movedTo;   ///< the target of the new address; none if empty
  const char* fullText;  ///< the first there is, as plain text; none if empty
};

constexpr ExpectedFeed kExpected[] = {
    {"Example Station", "/station.rss", "RSS 2.0", "/example-station.rss", ""},
    {"Example Kitchen", "/example-kitchen.rss", "RSS 2.0", "", "Peel the onions. Cry a little. Simmer for an hour."},
    {"Example Diary", "/example-diary.atom", "Atom 1.0, repaired", "", ""},
};

std::vector<std::string> linesOf(const std::string& format, const std::string& movedTo, const std::string& fullText) {
  std::vector<std::string> lines{format};
  if (!movedTo.empty()) lines.push_back("has moved to " + movedTo);
  if (!fullText.empty()) lines.push_back("full text: " + fullText);
  return lines;
}

std::vector<std::string> linesOf(const FeedDetails& details) {
  const auto item = std::ranges::find_if(details.items, [](const ItemDetails& each) { return !each.contentW.empty(); });
  return linesOf(details.format + (details.wasRepaired ? ", repaired" : ""), details.movedTo,
                 item == details.items.end() ? "" : PlainText(toUtf8(item->contentW)));
}

std::vector<std::string> expectedOf(const Pass& pass, const DemoServer& server) {
  std::vector<std::string> all;
  for (const ExpectedFeed& feed : kExpected) {
    all.push_back(std::string(feed.name) + ", " + pass.answer + ": " + pass.items);
    if (&pass != std::begin(kPasses)) continue;
    const auto lines = linesOf(feed.format, *feed.movedTo ? server.url(feed.movedTo) : "", feed.fullText);
    all.insert(all.end(), lines.begin(), lines.end());
  }
  return all;
}

/// Prints what a pull brings as it comes, and keeps it for the check.
class DemoSubscriber : public RSSSubscriber {
 public:
  explicit DemoSubscriber(Output& output) : output_(output) {}

  void begin(const Pass& pass) {
    isFirst_ = &pass == std::begin(kPasses);
    came_.clear();
  }

  void EventReceived(RSSEvent) override {}

  void NewsReceived(RSSObject* feed, RSSEvent) override {
    const std::unique_ptr<RSSObject> news(feed);
    const FeedDetails details = news->GetDetails() ? *news->GetDetails() : FeedDetails();
    const std::string name = news->channel.feedName + ", HTTP " + std::to_string(details.httpStatus);
    came_.push_back(name + ": " + outcome(*news));
    if (!isFirst_) return output_.line("  " + came_.back());
    listNews(output_, name, *news, Extent::Short);
    for (const std::string& line : linesOf(details)) {
      came_.push_back(line);
      output_.line("    " + line);
    }
  }

  const std::vector<std::string>& came() const { return came_; }

 private:
  Output& output_;
  bool isFirst_ = true;
  std::vector<std::string> came_;
};

}  // namespace

ExitStatus showModernProfile(const DemoServer& server, const std::string& baseFolder, Output& output) {
  SetProfile(Profile::Modern);
  SetConnectedState(ConnectedState::Connected);
  Subscriptions subscriptions;
  for (const ExpectedFeed& feed : kExpected) subscriptions.add("", feed.name, server.url(feed.target));

  DemoSubscriber subscriber(output);
  PullRunner runner(subscriptions, baseFolder, subscriber);
  bool asExpected = true;
  for (const Pass& pass : kPasses) {
    output.line("");
    output.line(pass.title);
    subscriber.begin(pass);
    runner.pull();
    output.flush();
    if (runner.interrupted()) return kInterrupted;
    asExpected &= isAsExpected(subscriber.came(), expectedOf(pass, server));
  }
  return asExpected ? kDone : kFailed;
}

}  // namespace quillmoria
