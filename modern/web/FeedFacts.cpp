#include "modern/web/FeedFacts.h"

#include <algorithm>

#include "modern/web/Due.h"

namespace quillmoria {
namespace {

constexpr std::int32_t kMovedFailures = 3;

bool isFeed(Outcome outcome) { return outcome == Outcome::Fetched || outcome == Outcome::NotModified; }

void noteFeed(FeedFacts& facts, const FetchReport& report) {
  const bool isNew = report.outcome == Outcome::Fetched;
  if (isNew) {
    facts.rules = report.rules;
    facts.format = report.format;
  }
  if (isNew || report.freshFor >= 0) facts.freshFor = report.freshFor;
  facts.movedTo = report.movedTo;
  facts.movedFailures = 0;
  facts.failures = 0;
  facts.answeredFailures = 0;
  facts.lastSuccess = report.asked;
  facts.isGone = false;
  facts.nextDue = dueAfterFeed(report.asked, facts.freshFor, facts.rules, report.notBefore);
}

/// A pull counts once, under however many names the address is subscribed. An address that was remembered, and is gone,
/// says nothing of the subscribed one.
void noteFailure(FeedFacts& facts, const FetchReport& report) {
  const std::int32_t step = facts.pull == report.pull ? 0 : 1;
  const bool hasAnswered = report.outcome != Outcome::NetworkError && report.outcome != Outcome::NoMemory;
  facts.failures += step;
  if (hasAnswered) facts.answeredFailures += step;
  if (report.wentToMovedTo) facts.movedFailures += step;
  if (facts.movedFailures >= kMovedFailures) {
    facts.movedTo.clear();
    facts.movedFailures = 0;
  }
  if (report.outcome == Outcome::Gone && !report.wentToMovedTo) facts.isGone = true;
  facts.nextDue = dueAfterFailure(report.asked, report.outcome, facts.answeredFailures, report.notBefore);
}

}  // namespace

FeedFacts FeedFacts::after(const FetchReport& report) const {
  FeedFacts facts = *this;
  if (report.outcome == Outcome::NotAsked) {
    facts.nextDue = std::max(facts.nextDue, report.notBefore);
  } else if (isFeed(report.outcome)) {
    noteFeed(facts, report);
  } else {
    noteFailure(facts, report);
  }
  if (report.outcome != Outcome::NotAsked) facts.lastAsked = report.asked;
  facts.pull = report.pull;
  return facts;
}

}  // namespace quillmoria
