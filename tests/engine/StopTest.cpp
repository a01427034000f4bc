#include <pthread.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "engine/PullFixture.h"
#include "support/Table.h"

namespace {

class Stop : public PullFixture {
 protected:
  Stop() {
    http_.handle("/1", [this](const std::string&) {
      if (onFetch_) onFetch_();
      return LoopbackServer::response("200 OK", "", kEmptyFeed);
    });
    http_.serve("/2", kEmptyFeed);
    http_.serve("/3", kEmptyFeed);
    subscriptions_.add("a", {{"1", http_.url("/1")}, {"2", http_.url("/2")}}).add("b", {{"3", http_.url("/3")}});
    server_ = makeServer();
    RecordingSubscriber subscriber([this](const std::string& line) { lines_.push_back(line); });
    wholePull_ = pull(*server_, subscriber);
  }

  /// The whole pull, without the feed objects after its event `last`.
  std::string withFeedsUpTo(std::size_t last) const {
    std::string events;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      if (i <= last || !lines_[i].starts_with("2 ")) events += (i ? " | " : "") + lines_[i];
    }
    return events;
  }

  std::function<void()> onFetch_;
  std::unique_ptr<NewsServer> server_;
  std::string wholePull_;
  std::vector<std::string> lines_;  ///< of it
};

TEST_P(Stop, IsHonouredAtTheNextCheckAndForgottenAfterwards) {
  for (const auto& [action, at, events] : readTable<3>("engine/stops.tsv")) {
    const auto act = [this, &action = action] {
      if (action == "throw") throw std::runtime_error("no more");
      if (action == "throw a number") throw 7;
      if (action == "end the thread") pthread_exit(nullptr);
      server_->TerminateNewsPullThread(nullptr);
    };
    std::promise<void> loading;
    RecordingSubscriber subscriber([&, &at = at](const std::string& line) {
      if (line == at) act();
      if (at == "fetch" && line == "10") loading.set_value();
    });
    if (at == "fetch") {
      onFetch_ = [&] {
        loading.get_future().wait();  // a fetch ahead may be earlier
        act();
      };
    }
    EXPECT_EQ(pull(*server_, subscriber), events) << action << " at " << at;
    onFetch_ = nullptr;
    RecordingSubscriber next;
    EXPECT_EQ(pull(*server_, next), wholePull_) << "after " << action << " at " << at;
  }
}

/// What a subscriber may do at any of a pull's events. Feed objects end with some of it, events do not.
TEST_P(Stop, ComesOfNothingElseThatIsDoneAtAnyEvent) {
  RecordingSubscriber* self = nullptr;
  RecordingSubscriber other;
  const auto detach = [&] { server_->DetachSubscriber(self); };
  const struct {
    const char* what;
    bool endsFeeds;
    std::function<void()> act;
    std::string heardByOther;
  } cases[] = {
      {"detach itself", true, detach, ""},
      {"be detached by another thread", true, [&] { std::thread(detach).join(); }, ""},
      {"delete the server and make another", false, [&] { server_ = makeServer(); }, ""},
      {"wait for itself", false, [] { EXPECT_FALSE(NewsServer::WaitForPulls(-1)); }, ""},
      {"attach another", false, [&] { server_->AttachSubscriber(&other); }, wholePull_},
      {"start a pull", false, [&] { server_->RefreshAllNewsForSubscriber(&other); }, withFeedsUpTo(0)},
  };
  for (const auto& [what, endsFeeds, act, heardByOther] : cases) {
    for (std::size_t at = 0; at < lines_.size(); ++at) {
      std::size_t count = 0;
      RecordingSubscriber subscriber([&, &chosen = act](const std::string&) {
        if (count++ == at) chosen();
      });
      self = &subscriber;
      server_->AttachSubscriber(&subscriber);
      EXPECT_TRUE(NewsServer::WaitForPulls(60'000));
      for (RecordingSubscriber* each : {&subscriber, &other}) server_->DetachSubscriber(each);
      EXPECT_EQ(subscriber.events(), withFeedsUpTo(endsFeeds ? at : lines_.size())) << what << " at event " << at;
      EXPECT_EQ(other.takeEvents(), heardByOther) << what << " at event " << at;
    }
  }
}

TEST_P(Stop, IsForThePullThatRunsAlone) {
  server_->TerminateNewsPullThread(nullptr);
  RecordingSubscriber second;
  RecordingSubscriber first([&](const std::string& line) {
    if (line != "12 category:a") return;
    server_->AttachSubscriber(&second);
    server_->TerminateNewsPullThread(nullptr);
  });
  EXPECT_EQ(pull(*server_, first), "1 | 12 category:a | 13");
  EXPECT_EQ(second.events(), wholePull_);
  server_->DetachSubscriber(&second);
}

TEST_P(Stop, IsTakenBackByANewServer) {
  RecordingSubscriber subscriber([&](const std::string& line) {
    if (line != "1") return;
    server_->TerminateNewsPullThread(nullptr);
    server_ = makeServer();
  });
  server_->AttachSubscriber(&subscriber);
  NewsServer::WaitForPulls(-1);
  EXPECT_EQ(subscriber.events(), wholePull_);
  server_->DetachSubscriber(&subscriber);
}

#ifndef NDEBUG
TEST_P(Stop, IsTracedByTheCheckThatFindsItWithoutALineEndBetweenCategories) {
  const EnvironmentVariable trace("QUILLMORIA_TRACE", "1");
  RecordingSubscriber subscriber([&](const std::string&) { server_->TerminateNewsPullThread(nullptr); });
  testing::internal::CaptureStderr();
  pull(*server_, subscriber);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::ContainsRegex("ended on demand([^\n]|$)"));
}
#endif

INSTANTIATE_TEST_SUITE_P(OneAtATimeAndAhead, Stop, testing::Values(1, 8), testing::PrintToStringParamName());

}  // namespace
