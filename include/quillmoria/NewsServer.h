#pragma once

#include <cstdint>
#include <string>

#include "quillmoria/RSSObject.h"
#include "quillmoria/export.h"

namespace quillmoria {
class ClassicSource;

/// The events of a pull, as RSSEvent::GetEventID returns them.
enum EventId : std::int32_t {
  kPullStarted = 1,          ///< once, when the pull begins
  kNewsDelivered = 2,        ///< with each feed object, in NewsReceived
  kPullFinished = 3,         ///< at the end of a pull made online
  kPullFinishedOffline = 4,  ///< at the end of a pull made offline
  kFeedLoading = 10,         ///< before an enabled feed is fetched, or read from the cache
  kFeedLoaded = 11,          ///< after that
  kCategoryStarted = 12,     ///< before the feeds of a category; the message is "category:" and the category's name
  kCategoryFinished = 13,    ///< after the feeds of a category
};

/// Which of the enabled feeds a pull goes over.
enum class PullScope {
  All,  ///< each
  Due,  ///< those that are worth asking by now (FeedDetails::nextDue); the others are passed over as if disabled
};

}  // namespace quillmoria

// The interface's classes are global, and so is what their functions take.
using quillmoria::PullScope;

/// A progress event of a pull: a number (see quillmoria::EventId) and, with kCategoryStarted, a message.
class QUILLMORIA_EXPORT RSSEvent {
 public:
  /// An event with an empty message.
  explicit RSSEvent(std::int32_t eventID);
  RSSEvent(const RSSEvent&);             ///< Copies number and message.
  RSSEvent& operator=(const RSSEvent&);  ///< Copies number and message.
  virtual ~RSSEvent();

  std::int32_t GetEventID() const;       ///< An EventId: the number given to the constructor.
  void SetMessage(std::string message);  ///< Replaces the message of this copy of the event.
  std::string GetMessage() const;        ///< The message; empty for all events but kCategoryStarted.

 private:
  std::int32_t eventID_;
  std::string message_;
};

/// What a host derives from to hear of pulls and to receive feeds.
///
/// Every call comes on the pull's own thread, one at a time. A callback may attach, detach, start or stop pulls, and
/// should return soon: the pull waits for it. One that throws ends the pull as a stop does. A subscriber must outlive
/// every pull that was started for it: see NewsServer::WaitForPulls.
class QUILLMORIA_EXPORT RSSSubscriber {
 public:
  RSSSubscriber();
  RSSSubscriber(const RSSSubscriber&);             ///< There is nothing to copy; the copy is not attached.
  RSSSubscriber& operator=(const RSSSubscriber&);  ///< There is nothing to copy.
  virtual ~RSSSubscriber();

  /// A feed has been fetched or read from the cache, or has failed (`feed->itemCount` is -1 and `feed->statusMessage`
  /// says why). The subscriber owns `feed` from now on; one attached twice is passed the same object twice.
  virtual void NewsReceived(RSSObject* feed, RSSEvent event) = 0;

  /// A step of the pull; see RSSEvent.
  virtual void EventReceived(RSSEvent event) = 0;
};

/// The host's handle on the engine: what is subscribed, who listens, and when to pull.
///
///     RSSObject::NewsFeed feed = ...;  // name, url, enabled = 1
///     RSSObject::NewsFeedsPerCategoryStruct category;
///     category.feeds = &feed;
///     category.feedCount = 1;
///     RSSObject::CategoryHolderStruct categories;
///     categories.categories = &category;
///     categories.categoryCount = 1;
///     std::unique_ptr<NewsServer> server(NewsServerFactory::GetFactory()->GetNewsServer(categories, baseFolder));
///     server->AttachSubscriber(&subscriber);  // starts a pull, which runs in the background
///     NewsServer::WaitForPulls(-1);           // only then may the subscriber and the feeds go
///
/// There is one engine in a process: every server is a handle on the same categories, base folder and subscribers, and
/// making one sets the first two. A pull goes once over every enabled feed; when to pull again is the host's decision.
/// Pulls run one after another. Any thread may make any call.
class QUILLMORIA_EXPORT NewsServer {
 public:
  /// Makes `categories` and `baseFolder` the engine's and drops a stop that was asked for. The arrays stay the host's
  /// and must live, unchanged, as long as a pull may read them. The base folder's `cache`, `feed_imgs` and `config`
  /// must exist where they are to be used; the engine creates no folder.
  NewsServer(RSSObject::CategoryHolderStruct categories, std::string baseFolder);
  NewsServer(const NewsServer&);             ///< Another handle on the same engine, whose state stays as it is.
  NewsServer& operator=(const NewsServer&);  ///< Changes nothing.

  /// Touches neither the engine's state nor a running pull.
  virtual ~NewsServer();

 protected:
  /// Passes `feed` to every attached subscriber.
  virtual void NotifySubscribers(RSSObject* feed);

  /// Passes `feed` to `subscriber` once for each time it is attached.
  static void NotifySubscriber(RSSSubscriber* subscriber, RSSObject* feed);

 public:
  /// Makes `categories` the engine's. A running pull goes on with the array it began with, so that array must stay
  /// until the pull has ended.
  void SetCategories(RSSObject::CategoryHolderStruct categories);

  /// Appends `subscriber` to the receivers of feed objects, also if it is there already, and starts a pull for it. Does
  /// neither if it throws std::bad_alloc.
  void AttachSubscriber(RSSSubscriber* subscriber);

  /// Removes `subscriber` however often it is attached. A pull that runs for it goes on and still sends it events, but
  /// no more feed objects.
  void DetachSubscriber(RSSSubscriber* subscriber);

  /// Starts a pull for `subscriber` and returns at once; throws nothing. Asks for the connected state
  /// (ConnectedState.h) at this moment: it decides for every feed that a pull, this one or one that runs already, loads
  /// from now on, whether that is fetched or read from the cache. If no thread can be started, nothing happens. Where
  /// memory or descriptors run out during the pull, a feed arrives with a failure, or with its items not compared
  /// (kUncomparedItem) and its cache file as it was; where not even that is possible, the pull ends as if it had been
  /// stopped.
  void RefreshAllNewsForSubscriber(RSSSubscriber* subscriber);

  /// Asks the running pull to end at its next check, after the fetch under way, and returns at once. A pull that is
  /// stopped sends nothing more. Does nothing while no pull runs. The argument is not used.
  void TerminateNewsPullThread(RSSSubscriber* subscriber);

  /// Waits until no pull is left, those just asked for included, or `milliseconds` have passed (-1: no limit). True if
  /// none is left; false after the time, and at once from a pull's own thread. After true the host may free its
  /// subscribers and categories.
  static bool WaitForPulls(std::int32_t milliseconds);

  /// Lets pulls that begin from now on fetch and parse up to `feeds` feeds at once, at most `perHost` of them from one
  /// host and port, ahead of the feed that is delivered. Both count from 1 to 64; what is beyond becomes the nearest.
  /// Starts as 1: one feed after the other. Events and deliveries keep their order and their thread, so nothing but the
  /// clock tells; kFeedLoading then comes when the pull is at the feed, whose fetch may long be over.
  static void SetParallelFetches(std::int32_t feeds, std::int32_t perHost = 2);

  /// Which feeds pulls that begin from now on go over. Starts as All, and means nothing in the classic profile, where
  /// every feed is due. For hosts that pull by a timer.
  static void SetPullScope(PullScope scope);

 private:
  friend class quillmoria::ClassicSource;
  static void pullNews(void* subscriber);
  static void matchAndCacheItems(RSSObject* feed);
};

/// Makes news servers. There is one factory in a process; it is never destroyed.
class QUILLMORIA_EXPORT NewsServerFactory {
 public:
  NewsServerFactory(const NewsServerFactory&);             ///< There is nothing to copy.
  NewsServerFactory& operator=(const NewsServerFactory&);  ///< There is nothing to copy.

  /// The factory, made by the first call. Any thread.
  static NewsServerFactory* GetFactory();

  /// A new server; see its constructor. The caller deletes it.
  NewsServer* GetNewsServer(RSSObject::CategoryHolderStruct categories, std::string baseFolder);

 private:
  NewsServerFactory();
  virtual ~NewsServerFactory();

  static NewsServerFactory* instance_;
};
