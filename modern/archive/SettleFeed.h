#pragma once

#include <optional>
#include <string>

#include "modern/archive/Database.h"
#include "modern/archive/DocumentItems.h"
#include "modern/archive/KnownFeed.h"
#include "modern/web/FeedFacts.h"
#include "quillmoria/CTime.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// One feed of a pull on its way into the archive. What it is made with must outlive it. Throws ArchiveError and
/// std::bad_alloc.
class FeedSettling {
 public:
  FeedSettling(const std::string& baseFolder, const std::string& key, const FetchReport& report, RSSObject& news);

  /// Compares its items with those of the archive, and keeps them and what was found out. Within a transaction; may be
  /// called again where that was undone.
  void settle(Database& archive);

  // Compare them alone; the second one with nothing, where there is nothing to be had.
  void match(Database& archive);
  void matchNothing();

 private:
  void keepDocument(Database& archive, const KnownFeed& known);
  void takeOver(Database& archive, const KnownFeed& known);
  bool isOf(RSSObject& cached) const;

  const std::string& baseFolder_;
  const std::string& key_;
  const FetchReport& report_;
  RSSObject& news_;
  const CTime now_;
  std::optional<DocumentItems> items_;  ///< of a document that has been fetched
};

}  // namespace quillmoria
