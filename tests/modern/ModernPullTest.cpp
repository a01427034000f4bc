#include <gmock/gmock.h>

#include <map>

#include "modern/web/WebState.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/Profile.h"
#include "support/LoopbackServer.h"
#include "support/RecordingSubscriber.h"
#include "support/Subscriptions.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr char kFeed[] =
    "<rss version=\"2.0\"><channel><title>T</title><link>http://example.org/</link><item><title>a</title>"
    "<guid isPermaLink=\"false\">a</guid></item></channel></rss>";

/// Real pulls of the modern profile. The parameter is how many feeds may be fetched at once, of which nothing may be
/// noticed.
class ModernPull : public testing::TestWithParam<int> {
 protected:
  ModernPull() {
    quillmoria::webState.build();
    SetProfile(Profile::Modern);
    SetConnectedState(ConnectedState::Connected);
    NewsServer::SetParallelFetches(GetParam(), GetParam());
  }
  ~ModernPull() override {
    NewsServer::WaitForPulls(-1);
    NewsServer::SetParallelFetches(1);
    NewsServer::SetPullScope(PullScope::All);
    SetConnectedState(ConnectedState::Automatic);
    SetProfile(Profile::Classic);
  }

  /// The outcomes of one pull, each once, with how many feeds had them.
  std::string pull(PullScope scope = PullScope::All) {
    const std::unique_ptr<NewsServer> news(
        NewsServerFactory::GetFactory()->GetNewsServer(subscriptions_.holder(), base_.name()));
    NewsServer::SetPullScope(scope);
    RecordingSubscriber subscriber;
    news->AttachSubscriber(&subscriber);
    EXPECT_TRUE(NewsServer::WaitForPulls(60'000));
    news->DetachSubscriber(&subscriber);
    std::map<std::string, int> counts;
    for (const auto& feed : subscriber.news()) {
      const FeedDetails* const details = feed->GetDetails();
      const std::string outcome(details ? quillmoria::OutcomeName(details->outcome) : "Classic");
      ++counts[outcome + " " + std::to_string(feed->itemCount) + "/" + std::to_string(feed->newItemCount)];
    }
    std::string text;
    for (const auto& [outcome, count] : counts) text += outcome + ": " + std::to_string(count) + ". ";
    return text;
  }

  LoopbackServer http_;
  TemporaryBaseFolder base_;
  Subscriptions subscriptions_;
};

TEST_P(ModernPull, AsksEachFeedWhatItsTurnIsAndNoneThatIsNotDue) {
  std::vector<std::pair<std::string, std::string>> feeds;
  for (int i = 0; i < 24; ++i) {
    const std::string target = "/" + std::to_string(i);
    feeds.emplace_back("Feed " + std::to_string(i), http_.url(target));
    http_.handle(target, [](const std::string& head) {
      const bool isKnown = head.find("If-None-Match: \"1\"\r\n") != std::string::npos;
      return LoopbackServer::response(isKnown ? "304 Not Modified" : "200 OK", "ETag: \"1\"\r\n", isKnown ? "" : kFeed);
    });
  }
  subscriptions_.add("Category", feeds);
  EXPECT_EQ(pull(PullScope::Due), "Fetched 1/1: 24. ");
  EXPECT_EQ(pull(), "NotModified 1/0: 24. ");
  EXPECT_EQ(pull(PullScope::Due), "") << "half an hour later";
  EXPECT_EQ(http_.requests().size(), 48U);
  SetConnectedState(ConnectedState::Disconnected);
  EXPECT_EQ(pull(), "Offline 1/0: 24. ");
}

TEST_P(ModernPull, AsksForAnAddressThatIsDueUnderEachOfItsNames) {
  http_.answer("/", LoopbackServer::response("200 OK", "", kFeed));
  subscriptions_.add("Category", {{"One", http_.url("/")}, {"Other", http_.url("/")}});
  const std::string both = pull(PullScope::Due);
  EXPECT_TRUE(both == "Fetched 1/0: 1. Fetched 1/1: 1. " || both == "Fetched 1/1: 1. NotModified 1/0: 1. ") << both;
  EXPECT_EQ(pull(PullScope::Due), "");
}

TEST_P(ModernPull, KnowsWhatTheClassicProfileHasSeen) {
  http_.answer("/",
               LoopbackServer::response("200 OK", "",
                                        "<rss version=\"2.0\"><channel><title>T</title><link>http://example.org/</link>"
                                        "<item><title>a</title><link>\n /a b </link></item><item><title>b</title>"
                                        "<link>/b</link><guid>\n b </guid></item></channel></rss>"));
  subscriptions_.add("Category", {{"Feed", http_.url("/")}});
  SetProfile(Profile::Classic);
  EXPECT_EQ(pull(), "Classic 2/2: 1. ");
  SetProfile(Profile::Modern);
  EXPECT_EQ(pull(), "Fetched 2/0: 1. ");
}

TEST_P(ModernPull, AsksNobodyTwiceWhoWantsARest) {
  std::vector<std::pair<std::string, std::string>> feeds;
  for (int i = 0; i < 24; ++i) {
    feeds.emplace_back("Feed " + std::to_string(i), http_.url("/" + std::to_string(i)));
    http_.answer("/" + std::to_string(i), LoopbackServer::response("429 Too Many Requests", "Retry-After: 90\r\n", ""));
  }
  subscriptions_.add("Category", feeds);
  pull();
  const std::size_t underWay = http_.requests().size();
  EXPECT_LE(underWay, static_cast<std::size_t>(GetParam()));
  EXPECT_EQ(pull(), "NotAsked -1/0: 24. ");
  EXPECT_EQ(http_.requests().size(), underWay);
}

INSTANTIATE_TEST_SUITE_P(OneAtATimeAndAhead, ModernPull, testing::Values(1, 8));

}  // namespace
