#pragma once

#include <string>

#include "modern/FeedFetch.h"
#include "modern/archive/FeedArchive.h"
#include "records/NewsSource.h"

namespace quillmoria {

/// Feeds as the web of today gives them, kept below one base folder. One for each pull.
class ModernSource : public NewsSource {
 public:
  explicit ModernSource(std::string baseFolder);

  std::unique_ptr<RSSObject> fetch(const RSSObject::NewsFeed& feed) override;
  std::unique_ptr<RSSObject> fromStore(const RSSObject::NewsFeed& feed) override;
  bool isDue(const RSSObject::NewsFeed& feed) const override;
  void settle(RSSObject& news) noexcept override;

 private:
  void tellOfDamage(RSSObject& news) const;

  mutable FeedArchive archive_;
  const FetchPlace place_;
};

}  // namespace quillmoria
