#include <future>
#include <stdexcept>

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
    RecordingSubscriber subscriber;
    wholePull_ = pull(*server_, subscriber);
  }

  std::function<void()> onFetch_;
  std::unique_ptr<NewsServer> server_;
  std::string wholePull_;
};

TEST_P(Stop, IsHonouredAtTheNextCheckAndForgottenAfterwards) {
  for (const auto& [action, at, events] : readTable<3>("engine/stops.tsv")) {
    const auto act = [this, &action = action] {
      if (action == "throw") throw std::runtime_error("no more");
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

INSTANTIATE_TEST_SUITE_P(OneAtATimeAndAhead, Stop, testing::Values(1, 8), testing::PrintToStringParamName());

}  // namespace
