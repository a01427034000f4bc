#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "NewsListing.h"
#include "Output.h"
#include "Progress.h"
#include "Subscriptions.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"

namespace quillmoria {

/// How a pull is made and shown.
struct PullForm {
  ConnectedState connected = ConnectedState::Automatic;
  PullScope scope = PullScope::All;
  Extent extent = Extent::Short;  ///< of the listing
  bool json = false;
};

/// A feed that has moved for good.
struct Move {
  std::string name;
  std::string from;
  std::string to;
};

/// Shows what a pull brings, feed by feed in the order of the subscriptions, and counts it. Called on the pull's
/// thread, read after its end.
class PullReport : public RSSSubscriber {
 public:
  /// All that is passed must outlive the report.
  PullReport(const Subscriptions& subscriptions, const std::string& baseFolder, const PullForm& form, Output& output);

  void EventReceived(RSSEvent event) override;

  /// A throw, as of output that cannot be written, ends the pull.
  void NewsReceived(RSSObject* feed, RSSEvent event) override;

  /// "2 of 3 feeds: 10 items, 4 new, 1 failed"; where only those due are asked for, "2 of 3 feeds due: ".
  std::string summary() const;

  /// "2 of 3 feeds"
  std::string share() const;

  void complainOfFailures() const;
  void eraseProgress() const { progress_.erase(); }
  bool isComplete() const { return isComplete_; }
  bool hasFailures() const { return !failures_.empty(); }
  const std::vector<Move>& moves() const { return moves_; }

 private:
  std::size_t placeOf(const RSSObject& news) const;
  void printJson(const RSSObject::NewsFeed& feed, RSSObject& news);
  void list(const RSSObject::NewsFeed& feed, const RSSObject& news);
  void count(const RSSObject::NewsFeed& feed, const RSSObject& news);

  const std::vector<const RSSObject::NewsFeed*> feeds_;
  const std::string& baseFolder_;
  const PullForm& form_;
  Output& output_;
  std::map<std::string_view, std::size_t> places_;  ///< in feeds_, by name
  Progress progress_;
  std::size_t nextPlace_ = 0;
  const RSSObject::NewsFeed* last_ = nullptr;  ///< delivered
  bool isComplete_ = false;
  std::size_t endedCount_ = 0;
  std::size_t itemCount_ = 0;
  long newItemCount_ = 0;
  std::vector<std::string> failures_;
  std::vector<Move> moves_;
};

/// One pull over `subscriptions`, from its start to its end, with all that is to be said of it but the moves. Returns
/// the exit status.
int pullAndShow(Subscriptions& subscriptions, PullReport& report, const std::string& baseFolder, const PullForm& form,
                Output& output);

}  // namespace quillmoria
