#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "support/LoopbackServer.h"
#include "support/Subscriptions.h"
#include "support/TemporaryFolder.h"

namespace {

class Counter : public RSSSubscriber {
 public:
  void NewsReceived(RSSObject* feed, RSSEvent) override {
    delete feed;
    ++news;
  }
  void EventReceived(RSSEvent) override { ++events; }

  std::atomic<int> news = 0;
  std::atomic<int> events = 0;
};

/// One host thread's calls, as mixed as a host can make them.
void makeCalls(int seed, RSSObject::CategoryHolderStruct categories, const std::string& base, Counter& counter) {
  std::unique_ptr<NewsServer> server(NewsServerFactory::GetFactory()->GetNewsServer(categories, base));
  for (int i = 0; i < 40; ++i) {
    switch ((i * 7 + seed) % 9) {
      case 8:
        NewsServer::SetParallelFetches(i % 5);
        break;
      case 0:
        server->AttachSubscriber(&counter);
        break;
      case 1:
        server->RefreshAllNewsForSubscriber(&counter);
        break;
      case 2:
        SetConnectedState(i % 3 ? ConnectedState::Connected : ConnectedState::Disconnected);
        break;
      case 3:
        server->TerminateNewsPullThread(&counter);
        break;
      case 4:
        server->SetCategories(categories);
        break;
      case 5:
        NewsServer::WaitForPulls(5);
        break;
      case 6:
        server.reset(NewsServerFactory::GetFactory()->GetNewsServer(categories, base));
        break;
      default:
        server->DetachSubscriber(&counter);
    }
  }
  NewsServer::WaitForPulls(-1);
  server->DetachSubscriber(&counter);
}

TEST(Storm, OfHostThreadsLeavesTheEngineWorking) {
  LoopbackServer http;
  http.serve("/feed", "<rss><channel><item><link>http://example.org/</link></item></channel></rss>");
  const TemporaryBaseFolder base;
  Subscriptions subscriptions;
  subscriptions.add("a", {{"1", http.url("/feed")}, {"2", http.url("/feed")}}).add("b", {{"3", http.url("/feed")}});
  const RSSObject::CategoryHolderStruct categories = subscriptions.holder();
  std::vector<Counter> counters(4);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] { makeCalls(i, categories, base.name(), counters[static_cast<std::size_t>(i)]); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(NewsServer::WaitForPulls(-1));

  SetConnectedState(ConnectedState::Connected);
  const std::unique_ptr<NewsServer> server(NewsServerFactory::GetFactory()->GetNewsServer(categories, base.name()));
  Counter last;
  server->AttachSubscriber(&last);
  NewsServer::WaitForPulls(-1);
  EXPECT_EQ(last.news, 3);
  EXPECT_EQ(last.events, 12);
  server->DetachSubscriber(&last);
}

}  // namespace
