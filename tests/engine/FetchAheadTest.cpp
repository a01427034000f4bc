#include <atomic>
#include <future>
#include <latch>

#include "engine/PullFixture.h"

namespace {

class FetchAhead : public PullFixture {};

TEST_P(FetchAhead, AsksEachHostForAsManyFeedsAtOnceAsItMayAndDeliversInOrder) {
  struct Host {
    LoopbackServer server;
    std::latch two{2};  // requests that wait for each other
    std::atomic<int> inside = 0;
    std::atomic<bool> isCrowded = false;
  };
  Host hosts[2];
  std::string expected = "1";
  for (Host& host : hosts) {
    std::vector<std::pair<std::string, std::string>> feeds;
    expected += " | 12 category:a";
    for (int i = 0; i < 5; ++i) {
      const std::string name = std::to_string(i);
      feeds.emplace_back(name, host.server.url("/" + name));
      expected += " | 10 | 11 | 2 " + name + ": OK, 0 items, 0 new";
      host.server.handle("/" + name, [&host, i](const std::string&) {
        if (++host.inside > 2) host.isCrowded = true;
        if (i < 2) host.two.arrive_and_wait();
        --host.inside;
        return LoopbackServer::response("200 OK", "", kEmptyFeed);
      });
    }
    expected += " | 13";
    subscriptions_.add("a", feeds);
  }
  NewsServer::SetParallelFetches(8, 2);
  RecordingSubscriber subscriber;
  EXPECT_EQ(pull(*makeServer(), subscriber), expected + " | 3");
  EXPECT_FALSE(hosts[0].isCrowded || hosts[1].isCrowded);
}

TEST_P(FetchAhead, IsCutOffByAStop) {
  std::promise<void> underWay, over;
  http_.serve("/0", kEmptyFeed);
  http_.handle("/never", [&](const std::string&) {
    underWay.set_value();
    over.get_future().wait();
    return std::string();
  });
  subscriptions_.add("a", {{"0", http_.url("/0")}});
  subscriptions_.add("b", {{"never", http_.url("/never")}, {"neither", http_.url("/neither")}});
  const auto server = makeServer();
  RecordingSubscriber subscriber([&](const std::string& line) {
    if (line != "11") return;
    underWay.get_future().wait();
    server->TerminateNewsPullThread(nullptr);
  });
  server->AttachSubscriber(&subscriber);
  EXPECT_TRUE(NewsServer::WaitForPulls(20'000)) << "waits for a server that does not answer";
  EXPECT_EQ(subscriber.events(), "1 | 12 category:a | 10 | 11 | 2 0: OK, 0 items, 0 new | 13");
  server->DetachSubscriber(&subscriber);
  over.set_value();
}

TEST_P(FetchAhead, DownloadsAnImageOfSeveralFeedsOnce) {
  http_.serve("/logo.gif", "GIF89a");
  http_.serve("/feed", "<rss><channel><image><url>" + http_.url("/logo.gif") + "</url></image></channel></rss>");
  const std::string feed = http_.url("/feed");
  subscriptions_.add("a", {{"1", feed}, {"2", feed}, {"3", feed}, {"4", feed}});
  NewsServer::SetParallelFetches(4, 4);
  RecordingSubscriber subscriber;
  pull(*makeServer(), subscriber);
  EXPECT_EQ(subscriber.news().size(), 4u);
  EXPECT_EQ(http_.requests().size(), 4u + 1u);
}

INSTANTIATE_TEST_SUITE_P(EightAtOnce, FetchAhead, testing::Values(8), testing::PrintToStringParamName());

}  // namespace
