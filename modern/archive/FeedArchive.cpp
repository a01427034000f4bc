#include "modern/archive/FeedArchive.h"

#include <utility>

#include "modern/archive/HostLimits.h"
#include "modern/archive/KnownFeed.h"
#include "modern/archive/Schema.h"
#include "modern/archive/SettleFeed.h"
#include "modern/archive/StoredDocument.h"

namespace quillmoria {

FeedFacts FeedArchive::facts(const std::string& key) {
  const MutexLock lock(mutex_);
  KnownFeed feed;
  use(Need::Reading, [&](Opened& archive) { feed = readKnownFeed(archive.database, key); });
  return std::move(feed.facts);
}

std::unique_ptr<RSSObject> FeedArchive::document(const std::string& key, ItemStatus status) {
  const MutexLock lock(mutex_);
  std::unique_ptr<RSSObject> news;
  use(Need::Reading, [&](Opened& archive) {
    const KnownFeed feed = readKnownFeed(archive.database, key);
    if (feed.facts.hasDocument) news = readDocument(archive.database, feed.id, status);
  });
  return news;
}

bool FeedArchive::settle(const std::string& key, const FetchReport& report, RSSObject& news) {
  const MutexLock lock(mutex_);
  FeedSettling settling(baseFolder_, key, report, news);
  const bool isKept = use(Need::Writing, [&](Opened& archive) {
    std::int64_t keptLimits = archive.keptLimits;
    Transaction transaction(archive.database);
    settling.settle(archive.database);
    keepLimits(archive.database, keptLimits);
    transaction.commit();
    archive.keptLimits = keptLimits;
  });
  if (isKept) return true;
  if (!use(Need::Reading, [&](Opened& archive) { settling.match(archive.database); })) settling.matchNothing();
  return false;
}

std::string FeedArchive::damagedFile() const {
  const MutexLock lock(mutex_);
  return damagedFile_;
}

PictureFacts FeedArchive::picture(const std::string& file) {
  const MutexLock lock(mutex_);
  PictureFacts facts;
  use(Need::Reading, [&](Opened& archive) {
    Rows row = archive.database.rows(
        "SELECT validated_url, entity_tag, last_modified, failed_at FROM pictures WHERE file = ?", file);
    if (row.next()) {
      facts = {{std::string(row.text(0)), std::string(row.text(1)), std::string(row.text(2))}, row.integer(3)};
    }
  });
  return facts;
}

void FeedArchive::keepPicture(const std::string& file, const PictureFacts& facts) {
  const MutexLock lock(mutex_);
  use(Need::Writing, [&](Opened& archive) {
    archive.database.run(
        "INSERT OR REPLACE INTO pictures(file, validated_url, entity_tag, last_modified, failed_at) "
        "VALUES(?, ?, ?, ?, ?)",
        file, facts.validators.url, facts.validators.entityTag, facts.validators.lastModified, facts.failedAt);
  });
}

/// Whether the work was done.
bool FeedArchive::use(Need need, const std::function<void(Opened&)>& work) {
  constexpr int kAttempts = 3;  // on an archive that was moved away, on a damaged one, and on the new one
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    try {
      if (!open(need)) return false;
      work(*opened_);
      return true;
    } catch (const ArchiveError& error) {
      if (!recover(error.problem())) return false;
    }
  }
  return false;
}

/// What is written into a file that was moved away would be lost.
bool FeedArchive::open(Need need) {
  if (opened_ && opened_->database.hasMoved()) opened_.reset();
  if (opened_) return true;
  if (isRefused_ || (need == Need::Reading && !hasArchive(baseFolder_))) return false;
  Opened opened{openArchive(baseFolder_)};
  takeOverLimits(opened.database);
  opened_ = std::move(opened);
  return true;
}

/// Whether another attempt makes sense.
bool FeedArchive::recover(ArchiveProblem problem) {
  isRefused_ = !opened_;
  if (problem != ArchiveProblem::Damaged) return false;
  const bool hasMoved = opened_ && opened_->database.hasMoved();  // another process was faster
  if (opened_) opened_->database.keepLog();
  opened_.reset();
  isRefused_ = false;
  if (hasMoved) return true;
  try {
    damagedFile_ = moveArchiveAside(baseFolder_);
  } catch (const ArchiveError&) {
    isRefused_ = true;
  }
  return !isRefused_;
}

}  // namespace quillmoria
