#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <variant>

#include "engine/ClassicSource.h"
#include "engine/FetchAhead.h"
#include "engine/PullSettings.h"
#include "modern/ModernSource.h"
#include "quillmoria/NewsServer.h"

namespace quillmoria {

/// One pass over every enabled feed for one subscriber, on a thread of its own.
///
/// Holds the pull lock as long as it lives, so that pulls run one after another. A stop check that fires and a
/// subscriber that throws end the thread from where they stand; the destructor leaves the engine's state right in every
/// case.
class Pull {
 public:
  /// Announces the pull and waits for its turn.
  explicit Pull(RSSSubscriber& subscriber);
  Pull(const Pull&) = delete;
  Pull& operator=(const Pull&) = delete;
  ~Pull();

  void run();

 private:
  using Category = RSSObject::NewsFeedsPerCategoryStruct;
  using Feed = RSSObject::NewsFeed;

  std::int32_t categoryCount();
  void pullCategory(const Category& category);
  void pullFeeds(const Feed* feeds, std::int32_t feedCount);
  void pullFeed(const Feed& feed);
  NewsSource& source();
  void beginFetchingAhead();
  std::unique_ptr<RSSObject> load(const Feed& feed);
  void deliver(std::unique_ptr<RSSObject> news) const;
  void send(const RSSEvent& event) const;

  RSSSubscriber& subscriber_;
  PullSettings settings_;  ///< the count of the categories is as last read
  std::variant<ClassicSource, ModernSource> source_;
  std::optional<FetchAhead> ahead_;  ///< where several feeds are fetched at once
};

}  // namespace quillmoria
