#pragma once

#include <memory>
#include <string>

#include "Interruption.h"
#include "Subscriptions.h"
#include "quillmoria/NewsServer.h"

namespace quillmoria {

/// Pulls over the same subscriptions for one subscriber, each waited for.
///
///     PullRunner runner(subscriptions, baseFolder, subscriber);
///     runner.pull();
///     if (runner.interrupted()) return kInterrupted;
///
/// While it lives Ctrl-C stops the pull at its next check.
class PullRunner {
 public:
  /// `subscriptions`, unchanged, and `subscriber` must outlive the runner.
  PullRunner(Subscriptions& subscriptions, const std::string& baseFolder, RSSSubscriber& subscriber);

  /// One pull from its start to its end; the subscriber is called on the pull's own thread meanwhile.
  void pull();

  /// Whether Ctrl-C has come; there should be no further pull then.
  bool interrupted() const { return interruption_.happened(); }

 private:
  std::unique_ptr<NewsServer> server_;
  RSSSubscriber& subscriber_;
  Interruption interruption_;
};

/// Loads the channel picture of a feed that came from the classic cache, which keeps the picture's address alone.
/// Offline it comes from the image folder.
void loadStoredPicture(RSSObject& news, const std::string& baseFolder);

/// Whether the feed could not be had. One that was not asked for, or has not changed, has not failed.
bool hasFailed(const RSSObject& news);

/// Whether the server gave a document for `news`.
bool wasFetched(const RSSObject& news);

/// Whether `news` is what was kept, the machine being offline, or would be.
bool wasReadFromCache(const RSSObject& news);

/// Why `news` has failed, with what to do about it where that is known.
std::string failureText(const RSSObject& news);

/// That the new items of `news`, which has not failed, could not be kept; empty if they were, or if there are none.
std::string lossText(const RSSObject& news);

}  // namespace quillmoria
