#pragma once

#include "records/NewsSource.h"

namespace quillmoria {

class EngineState;

/// Feeds by the feed object's own constructor, kept in a cache file per feed.
class ClassicSource : public NewsSource {
 public:
  /// `state` must outlive this. Its base folder is read at each call.
  explicit ClassicSource(const EngineState& state) : state_(state) {}

  std::unique_ptr<RSSObject> fetch(const RSSObject::NewsFeed& feed) override;
  std::unique_ptr<RSSObject> fromStore(const RSSObject::NewsFeed& feed) override;
  bool isDue(const RSSObject::NewsFeed&) const override { return true; }
  void settle(RSSObject& news) noexcept override;

 private:
  const EngineState& state_;
};

}  // namespace quillmoria
