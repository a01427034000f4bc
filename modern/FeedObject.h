#pragma once

#include <memory>
#include <string>

#include "modern/web/FeedFacts.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// The details of an object of the modern profile, with what settling it takes.
struct ModernDetails : FeedDetails {
  std::string key;  ///< of the feed's address: see WebAddress; empty for an address that is none
  FetchReport report;
};

/// The details that makeDetails has given `news`.
ModernDetails& detailsOf(RSSObject& news);

/// Makes the details that `news` has, if it has any, those of the modern profile.
ModernDetails& makeDetails(RSSObject& news);

/// An object without items, which says `text`.
std::unique_ptr<RSSObject> failedObject(Outcome outcome, std::string text);

/// Gives `target` all that `source` has.
void moveObject(RSSObject& target, RSSObject& source);

}  // namespace quillmoria
