#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "OwnFeeds.h"
#include "quillmoria/NewsArchive.h"
#include "reader/PageContext.h"
#include "reader/View.h"

namespace quillmoria {

/// A feed as the page shows it: of the subscriptions, with what the archive knows of it.
struct ShownFeed {
  OwnFeed own;
  std::optional<ArchivedFeed> archived;  ///< nothing before its first pull
};

/// What the parts of one page are made of. Each thing is looked up when a part asks for it first, since some take time
/// that grows with the archive.
class PageData {
 public:
  /// Both must outlive it. Of the view's texts as much is taken as fits into the addresses of a page many times.
  PageData(const View& asked, const PageContext& with);

  const PageContext& context;
  const View view;  ///< without its notice, so that no address made of it says that again
  const std::int64_t notice;
  const CTime now;

  std::string title;  ///< of the page, as the parts that were written call what they show

  /// The subscriptions in the order of their list. Throws Failure.
  const std::vector<OwnFeed>& subscriptions();

  /// The subscriptions in that order, then what else was pulled into the archive, which has no address as its own.
  const std::vector<ShownFeed>& feeds();

  /// As `feeds`, if some part has asked for them already.
  const std::vector<ShownFeed>* feedsAtHand() const { return feeds_ ? &*feeds_ : nullptr; }

  /// The feed of that number in the archive; null if there is none.
  const ShownFeed* feed(std::int64_t id);

  /// The item of the view with its texts; nothing if there is none.
  const std::optional<ArchivedItem>& item();

 private:
  std::optional<std::vector<OwnFeed>> subscriptions_;
  std::optional<std::vector<ShownFeed>> feeds_;
  std::optional<std::optional<ArchivedItem>> item_;
};

}  // namespace quillmoria
