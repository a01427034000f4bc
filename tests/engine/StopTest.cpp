#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

#include "quillmoria/ConnectedState.h"
#include "support/LoopbackServer.h"
#include "support/RecordingSubscriber.h"
#include "support/Subscriptions.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr char kEmptyFeed[] = "<rss><channel></channel></rss>";
constexpr char kWholePull[] =
    "1 | 12 category:a | 10 | 11 | 2 1: OK, 0 items, 0 new | 10 | 11 | 2 2: OK, 0 items, 0 new | 13 | "
    "12 category:b | 10 | 11 | 2 3: OK, 0 items, 0 new | 13 | 3";

/// Two categories with two feeds and one, and a server that calls `onFetch` when feed 1 is requested.
/// The parameter is how many feeds may be fetched at once, of which nothing may be noticed.
class Stop : public testing::TestWithParam<int> {
 protected:
  Stop() {
    SetConnectedState(ConnectedState::Connected);
    NewsServer::SetParallelFetches(GetParam());
    http_.handle("/1", [this](const std::string&) {
      if (onFetch_) onFetch_();
      return LoopbackServer::response("200 OK", "", kEmptyFeed);
    });
    http_.serve("/2", kEmptyFeed);
    http_.serve("/3", kEmptyFeed);
    subscriptions_.add("a", {{"1", http_.url("/1")}, {"2", http_.url("/2")}}).add("b", {{"3", http_.url("/3")}});
    server_.reset(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions_.holder(), base_.name()));
  }
  ~Stop() override { NewsServer::WaitForPulls(-1); }

  std::string pull(RecordingSubscriber& subscriber) {
    server_->AttachSubscriber(&subscriber);
    NewsServer::WaitForPulls(-1);
    server_->DetachSubscriber(&subscriber);
    return subscriber.takeEvents();
  }

  LoopbackServer http_;
  TemporaryBaseFolder base_;
  Subscriptions subscriptions_;
  std::unique_ptr<NewsServer> server_;
  std::function<void()> onFetch_;
};

TEST_P(Stop, IsHonouredAtTheNextCheckAndForgottenAfterwards) {
  const struct {
    const char* at;  // the first event with this text
    const char* events;
  } cases[] = {
      {"1", "1"},
      {"12 category:a", "1 | 12 category:a | 13"},
      {"10", "1 | 12 category:a | 10"},
      {"11", "1 | 12 category:a | 10 | 11 | 2 1: OK, 0 items, 0 new | 13"},
      {"2 1: OK, 0 items, 0 new", "1 | 12 category:a | 10 | 11 | 2 1: OK, 0 items, 0 new | 13"},
      {"13", "1 | 12 category:a | 10 | 11 | 2 1: OK, 0 items, 0 new | 10 | 11 | 2 2: OK, 0 items, 0 new | 13"},
      {"12 category:b",
       "1 | 12 category:a | 10 | 11 | 2 1: OK, 0 items, 0 new | 10 | 11 | 2 2: OK, 0 items, 0 new | 13 | "
       "12 category:b | 13 | 3"},
      {"2 3: OK, 0 items, 0 new", kWholePull},
      {"3", kWholePull},
  };
  for (const auto& row : cases) {
    RecordingSubscriber subscriber([&](const std::string& line) {
      if (line == row.at) server_->TerminateNewsPullThread(nullptr);
    });
    EXPECT_EQ(pull(subscriber), row.events) << "stopped at " << row.at;
    RecordingSubscriber next;
    EXPECT_EQ(pull(next), kWholePull) << "after a stop at " << row.at;
  }
}

TEST_P(Stop, DuringAFetchTakesEffectAfterIt) {
  onFetch_ = [this] { server_->TerminateNewsPullThread(nullptr); };
  RecordingSubscriber subscriber;
  EXPECT_EQ(pull(subscriber), "1 | 12 category:a | 10");
  onFetch_ = nullptr;
  EXPECT_EQ(pull(subscriber), kWholePull);
}

TEST_P(Stop, DoesNothingWhileNoPullRuns) {
  server_->TerminateNewsPullThread(nullptr);
  RecordingSubscriber subscriber;
  EXPECT_EQ(pull(subscriber), kWholePull);
  server_->TerminateNewsPullThread(nullptr);
  EXPECT_EQ(pull(subscriber), kWholePull);
}

TEST_P(Stop, IsTakenBackByANewServer) {
  RecordingSubscriber subscriber([&](const std::string& line) {
    if (line != "1") return;
    server_->TerminateNewsPullThread(nullptr);
    server_.reset(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions_.holder(), base_.name()));
  });
  server_->AttachSubscriber(&subscriber);
  NewsServer::WaitForPulls(-1);
  EXPECT_EQ(subscriber.events(), kWholePull);
  server_->DetachSubscriber(&subscriber);
}

TEST_P(Stop, LetsThePullThatWaitsRun) {
  RecordingSubscriber second;
  RecordingSubscriber first([&](const std::string& line) {
    if (line != "12 category:a") return;
    server_->AttachSubscriber(&second);
    server_->TerminateNewsPullThread(nullptr);
  });
  EXPECT_EQ(pull(first), "1 | 12 category:a | 13");
  EXPECT_EQ(second.events(), kWholePull);
  server_->DetachSubscriber(&second);
}

TEST_P(Stop, ComesFromASubscriberThatThrows) {
  const struct {
    const char* at;
    const char* events;
  } cases[] = {
      {"1", "1"},
      {"10", "1 | 12 category:a | 10"},
      {"2 1: OK, 0 items, 0 new", "1 | 12 category:a | 10 | 11 | 2 1: OK, 0 items, 0 new"},
      {"3", kWholePull},
  };
  for (const auto& row : cases) {
    RecordingSubscriber subscriber([&](const std::string& line) {
      if (line == row.at) throw std::runtime_error("no more");
    });
    EXPECT_EQ(pull(subscriber), row.events) << "thrown at " << row.at;
    RecordingSubscriber next;
    EXPECT_EQ(pull(next), kWholePull) << "after a throw at " << row.at;
  }
}

INSTANTIATE_TEST_SUITE_P(OneAtATimeAndAhead, Stop, testing::Values(1, 8), testing::PrintToStringParamName());

}  // namespace
