#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>

#include "engine/PullFixture.h"

namespace {

constexpr auto kDeadline = std::chrono::seconds(30);

/// Holds requests back until a number of them is there at once, and keeps the greatest number that was.
class Gate {
 public:
  explicit Gate(int wanted) : wanted_(wanted) {}

  /// Returns whether the number was reached in time.
  bool pass() {
    std::unique_lock lock(mutex_);
    most_ = std::max(most_, ++inside_);
    changed_.notify_all();
    const bool reached = changed_.wait_for(lock, kDeadline, [this] { return most_ >= wanted_; });
    --inside_;
    return reached;
  }
  int most() const {
    std::lock_guard lock(mutex_);
    return most_;
  }

 private:
  const int wanted_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int inside_ = 0;
  int most_ = 0;
};

class FetchAhead : public PullFixture {
 protected:
  /// Feeds "0" to "n-1" at `server`, whose answers wait for `gate`.
  void subscribe(LoopbackServer& server, int count, Gate& gate) {
    std::vector<std::pair<std::string, std::string>> feeds;
    for (int i = 0; i < count; ++i) {
      const std::string target = "/" + std::to_string(i);
      feeds.emplace_back(std::to_string(i), server.url(target));
      server.handle(target, [&gate](const std::string&) {
        return gate.pass() ? LoopbackServer::response("200 OK", "", kEmptyFeed) : "";
      });
    }
    subscriptions_.add("a", feeds);
  }
};

TEST_P(FetchAhead, AsksEachHostForAsManyFeedsAtOnceAsItMayAndDeliversInOrder) {
  LoopbackServer first, second;
  Gate firstGate(2), secondGate(2);
  subscribe(first, 5, firstGate);
  subscribe(second, 5, secondGate);
  NewsServer::SetParallelFetches(8, 2);
  RecordingSubscriber subscriber;
  std::string expected = "1";
  for (int host = 0; host < 2; ++host) {
    expected += " | 12 category:a";
    for (int i = 0; i < 5; ++i) expected += " | 10 | 11 | 2 " + std::to_string(i) + ": OK, 0 items, 0 new";
    expected += " | 13";
  }
  EXPECT_EQ(pull(*makeServer(), subscriber), expected + " | 3");
  EXPECT_EQ(firstGate.most(), 2);
  EXPECT_EQ(secondGate.most(), 2);
}

TEST_P(FetchAhead, IsCutOffByAStop) {
  std::promise<void> underWay, over;
  LoopbackServer server;
  Gate open(1);
  subscribe(server, 1, open);
  subscriptions_.add("b", {{"never", server.url("/never")}, {"neither", server.url("/neither")}});
  server.handle("/never", [&](const std::string&) {
    underWay.set_value();
    over.get_future().wait();
    return std::string();
  });
  NewsServer::SetParallelFetches(3, 3);
  std::unique_ptr<NewsServer> handle;
  RecordingSubscriber subscriber([&](const std::string& line) {
    if (line != "11") return;
    underWay.get_future().wait();
    handle->TerminateNewsPullThread(nullptr);
  });
  handle = makeServer();
  handle->AttachSubscriber(&subscriber);
  EXPECT_TRUE(NewsServer::WaitForPulls(20'000)) << "waits for a server that does not answer";
  EXPECT_EQ(subscriber.events(), "1 | 12 category:a | 10 | 11 | 2 0: OK, 0 items, 0 new | 13");
  handle->DetachSubscriber(&subscriber);
  over.set_value();
}

TEST_P(FetchAhead, DownloadsAnImageOfSeveralFeedsOnce) {
  LoopbackServer server;
  server.serve("/logo.gif", "GIF89a");
  const std::string document =
      "<rss><channel><image><url>" + server.url("/logo.gif") + "</url></image></channel></rss>";
  std::vector<std::pair<std::string, std::string>> feeds;
  for (const char* name : {"1", "2", "3", "4"}) {
    server.serve(std::string("/") + name, document);
    feeds.emplace_back(name, server.url(std::string("/") + name));
  }
  subscriptions_.add("a", feeds);
  NewsServer::SetParallelFetches(4, 4);
  RecordingSubscriber subscriber;
  pull(*makeServer(), subscriber);
  EXPECT_EQ(subscriber.news().size(), 4u);
  int images = 0;
  for (const std::string& request : server.requests()) images += request.starts_with("GET /logo.gif ");
  EXPECT_EQ(images, 1);
}

INSTANTIATE_TEST_SUITE_P(EightAtOnce, FetchAhead, testing::Values(8), testing::PrintToStringParamName());

}  // namespace
