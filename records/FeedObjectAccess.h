#pragma once

#include <memory>
#include <utility>

#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// What the engine alone may say of a feed object, before it delivers it.
struct FeedObjectAccess {
  static void setStored(RSSObject& news, bool wasStored) { news.wasStored_ = wasStored; }
  static void setDetails(RSSObject& news, std::shared_ptr<FeedDetails> details) { news.details_ = std::move(details); }

  static void moveDetails(RSSObject& target, RSSObject& source) { target.details_ = std::move(source.details_); }

  /// Null for an object without details.
  static FeedDetails* details(RSSObject& news) { return news.details_.get(); }
};

}  // namespace quillmoria
