#pragma once

#include <cstdint>
#include <string>

#include "modern/reading/ReadFeed.h"
#include "quillmoria/NewsDetails.h"

namespace quillmoria {

/// What a server calls the state of a document, to be sent back to it as it came.
struct Validators {
  std::string url;  ///< the address that gave them, and to which alone they are sent
  std::string entityTag;
  std::string lastModified;

  bool areNone() const { return entityTag.empty() && lastModified.empty(); }
};

/// What a fetch has found out about a feed.
struct FetchReport {
  Outcome outcome = Outcome::NetworkError;
  std::int64_t pull = 0;       ///< WebState::beginPull
  std::int64_t basis = 0;      ///< FeedFacts::pull of the facts that it went by
  std::int64_t asked = 0;      ///< when the last request was sent, in seconds since 1970
  std::int64_t notBefore = 0;  ///< until when the server must not be asked; 0 if it may be
  std::int64_t freshFor = -1;  ///< seconds, -1 if the server did not say
  bool wentToMovedTo = false;  ///< the first request was for the remembered address
  std::string movedTo;         ///< where the feed has moved for good
  Validators validators;
  std::string bodyHash;
  std::string format;
  UpdateRules rules;
};

/// What is remembered of a feed from one pull to the next. Moments are in seconds since 1970; 0 is never.
struct FeedFacts {
  // What the server calls the document that is stored, and its hash.
  bool hasDocument = false;
  Validators validators;
  std::string bodyHash;

  std::int64_t pull = 0;  ///< the last one that has found out something
  std::string format;
  UpdateRules rules;
  std::int64_t freshFor = -1;
  std::string movedTo;                ///< asked instead of the subscribed address
  std::int32_t movedFailures = 0;     ///< pulls in a row that have failed there
  std::int32_t failures = 0;          ///< pulls in a row that have failed
  std::int32_t answeredFailures = 0;  ///< of them those that a server has answered
  std::int64_t lastAsked = 0;
  std::int64_t lastSuccess = 0;
  std::int64_t nextDue = 0;
  bool isGone = false;

  /// What is known after a pull that has found out `report`; the part about the document stays.
  FeedFacts after(const FetchReport& report) const;
};

}  // namespace quillmoria
