#pragma once

#include <cstdint>
#include <vector>

#include "modern/archive/Database.h"
#include "modern/archive/ItemKeys.h"
#include "modern/archive/ItemWriter.h"
#include "modern/archive/KnownItems.h"
#include "quillmoria/CTime.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// What becomes of items that the archive has not met.
enum class Unmet {
  AreNew,       ///< they are news
  AreNone,      ///< an archive that is lost had them: they keep what has been told of them
  AreOutdated,  ///< likewise, and they count as read; the feed says it all in another way now
};

/// The items of a document on their way into the archive.
class DocumentItems {
 public:
  /// Makes the keys of the items of `news`, which has details and must outlive this.
  DocumentItems(RSSObject& news, Unmet unmet);

  /// Tells of each item whether it is new among those of `feed`, whether it has changed, when it was seen first and how
  /// it is called; one without a date has that of its first sight. Writes nothing.
  void match(Database& archive, std::int64_t feed, CTime now);

  /// As match, where the archive cannot be read.
  void matchNothing(CTime now);

  /// After match: stores what is new or has changed and the order of the items, and what has left the document;
  /// `lastSeen` is when the feed had that last. One without items changes nothing. Within a transaction.
  void store(Database& archive, std::int64_t feed, CTime now, CTime lastSeen);

 private:
  void tell(CTime now);
  std::vector<std::int64_t> places() const;
  void storeKnown(ItemWriter& writer, const std::vector<std::int64_t>& places);
  bool storeNew(ItemWriter& writer, const std::vector<std::int64_t>& places, CTime now);

  RSSObject& news_;
  const Unmet unmet_;
  std::vector<ItemKeys> keys_;
  std::vector<KnownItem> known_;
};

}  // namespace quillmoria
