#include <gmock/gmock.h>

#include <string>

#include "modern/web/Due.h"
#include "modern/web/HttpDate.h"
#include "modern/web/RateLimits.h"
#include "modern/web/ResponseFields.h"
#include "modern/web/StatusTexts.h"
#include "modern/web/WebAddress.h"
#include "modern/web/WebFetch.h"
#include "platform/Digest.h"
#include "support/Table.h"

using namespace quillmoria;

namespace {

/// Thursday, 12 March 2026, 10:15 UTC.
constexpr std::int64_t kNow = 1'773'310'500;

TEST(WebRules, ReadRetryAfter) {
  for (const auto& [value, seconds] : readTable<2>("modern/retry-after.tsv")) {
    const std::optional<std::int64_t> rest = restOf(value, kNow);
    EXPECT_EQ(rest ? std::to_string(*rest) : "none", seconds) << value;
  }
}

TEST(WebRules, DoubleTheRestWithEachPullThatIsRefusedWithoutATime) {
  RateLimits limits;
  std::int64_t now = kNow;
  const auto minutes = [&](std::int64_t pull, const char* retryAfter = "") {
    return (limits.refused("http://a", 429, retryAfter, now, pull) - now) / 60;
  };
  EXPECT_EQ(minutes(1), 10);
  EXPECT_EQ(minutes(1), 10) << "another feed of the same pull";
  EXPECT_EQ(minutes(2), 20);
  EXPECT_EQ(limits.refused("http://a", 503, "", kNow, 3), 0) << "asks for nothing";
  EXPECT_EQ(limits.until("http://b", kNow), 0) << "another server";
  for (std::int64_t pull = 3; pull < 40; ++pull) minutes(pull);
  EXPECT_EQ(minutes(40), 24 * 60);
  limits.served("http://a");
  EXPECT_NE(limits.until("http://a", kNow), 0) << "what was said still holds";
  now += 24 * 60 * 60;
  EXPECT_EQ(minutes(41), 10);
}

TEST(WebRules, ForgetWhoMayBeAskedSoonestWhereTooManyAskForARest) {
  RateLimits limits;
  for (int i = 0; i <= 10'000; ++i) {
    limits.refused("http://" + std::to_string(i), 429, std::to_string(60 + i), kNow, 1);
  }
  EXPECT_EQ(limits.until("http://0", kNow), 0);
  EXPECT_NE(limits.until("http://1", kNow), 0);
}

TEST(WebRules, SayWhenAFeedIsDue) {
  for (const auto& [head, minutes, skipHours, skipDays, notBefore, due] : readTable<6>("modern/due.tsv")) {
    UpdateRules rules;
    if (!minutes.empty()) rules.minutes = std::stoi(minutes);
    rules.skipHours = static_cast<std::uint32_t>(std::stoul("0" + skipHours, nullptr, 16));
    rules.skipDays = static_cast<std::uint8_t>(std::stoul("0" + skipDays, nullptr, 16));
    const std::int64_t rest = notBefore.empty() ? 0 : kNow + 60 * std::stoi(notBefore);
    const std::int64_t moment = dueAfterFeed(kNow, freshSeconds(ResponseFields(head)), rules, rest);
    EXPECT_EQ(std::to_string((moment - kNow) / 60), due) << head << minutes << skipHours << skipDays;
  }
}

TEST(WebRules, AskLessOftenTheLongerAServerFails) {
  const auto minutes = [](Outcome outcome, int failures) {
    return (dueAfterFailure(kNow, outcome, failures, 0) - kNow) / 60;
  };
  EXPECT_EQ(minutes(Outcome::NotFound, 1), 60);
  EXPECT_EQ(minutes(Outcome::ServerError, 3), 4 * 60);
  EXPECT_EQ(minutes(Outcome::NotAFeed, 1000), 24 * 60);
  EXPECT_EQ(minutes(Outcome::NetworkError, 7), 30);
}

TEST(WebRules, TellStatusesInTheirOwnWords) {
  for (const auto& [status, text, outcome] : readTable<3>("modern/statuses.tsv")) {
    EXPECT_EQ(statusText(std::stoi(status)), text);
    EXPECT_EQ(OutcomeName(outcomeOf(std::stoi(status))), outcome) << text;
  }
}

TEST(WebRules, TakeAddressesAsUsersWriteThem) {
  for (const auto& [text, url, plainUrl, userName, password] : readTable<5>("modern/addresses.tsv")) {
    const std::optional<WebAddress> address = WebAddress::parse(text);
    EXPECT_EQ(address ? address->url.text() : "none", url) << text;
    if (!address) continue;
    EXPECT_EQ(address->plainUrl ? address->plainUrl->text() : "", plainUrl) << text;
    EXPECT_EQ(address->userName + "|" + address->password, userName + "|" + password) << text;
  }
}

TEST(WebRules, NamePicturesAndTimesAsEverybodyDoes) {
  EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(httpDate(784'111'777), "Sun, 06 Nov 1994 08:49:37 GMT");
}

TEST(WebRules, KeepValidatorsAsTheyCame) {
  for (const auto& [head, entityTag, lastModified] : readTable<3>("modern/validators.tsv")) {
    const Validators validators = validatorsOf(ResponseFields(head), "http://a/");
    EXPECT_EQ(validators.entityTag, entityTag) << head;
    EXPECT_EQ(validators.lastModified, lastModified) << head;
  }
}

}  // namespace
