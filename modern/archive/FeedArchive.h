#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "modern/archive/Database.h"
#include "modern/web/FeedFacts.h"
#include "modern/web/Picture.h"
#include "platform/Mutex.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// The archive of a base folder, as a pull uses it.
///
///     FeedArchive archive(baseFolder);
///     const FeedFacts known = archive.facts(address.key());
///     ...
///     if (!archive.settle(address.key(), report, *news)) complain();
///
/// Opened when it is needed first, and made when something is kept first. Where it cannot be had, because another
/// process holds it, the disk is full or it must not be opened, nothing is known, and nothing kept. A damaged one is
/// moved aside and a new one begun. Any thread may make any call, each of which throws std::bad_alloc.
class FeedArchive final : public PictureMemory {
 public:
  explicit FeedArchive(std::string baseFolder) : baseFolder_(std::move(baseFolder)) {}

  // Feeds are told by the addresses that they are known by (WebAddress::key).

  /// What is remembered of the feed.
  FeedFacts facts(const std::string& key);

  /// The last document of the feed that had items, each with `status`; null if there is none.
  std::unique_ptr<RSSObject> document(const std::string& key, ItemStatus status);

  /// Tells of each item of `news`, which has details, whether it is new, and keeps it and what a fetch has found out,
  /// `report`. False if it could not be kept: then the items that cannot be compared are new.
  bool settle(const std::string& key, const FetchReport& report, RSSObject& news);

  /// Where the damaged archive is that had to be moved aside; empty if there was none.
  std::string damagedFile() const;

  PictureFacts picture(const std::string& file) override;
  void keepPicture(const std::string& file, const PictureFacts& facts) override;

 private:
  struct Opened {
    Database database;
    std::int64_t keptLimits = 0;  ///< see keepLimits
  };
  enum class Need {
    Reading,  ///< of what is there: without an archive there is nothing to do
    Writing,
  };

  bool use(Need need, const std::function<void(Opened&)>& work) REQUIRES(mutex_);
  bool open(Need need) REQUIRES(mutex_);
  bool recover(ArchiveProblem problem) REQUIRES(mutex_);

  const std::string baseFolder_;
  mutable Mutex mutex_;  ///< held over the archive's I/O, so that its threads share one connection
  std::optional<Opened> opened_ GUARDED_BY(mutex_);
  bool isRefused_ GUARDED_BY(mutex_) = false;  ///< it could not be opened, and is not tried again
  std::string damagedFile_ GUARDED_BY(mutex_);
};

}  // namespace quillmoria
