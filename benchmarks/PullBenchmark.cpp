#include <benchmark/benchmark.h>

#include <memory>

#include "benchmarks/Documents.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsServer.h"
#include "support/LoopbackServer.h"
#include "support/Subscriptions.h"
#include "support/TemporaryFolder.h"

namespace {

class Releaser : public RSSSubscriber {
 public:
  void NewsReceived(RSSObject* feed, RSSEvent) override { delete feed; }
  void EventReceived(RSSEvent) override {}
};

/// One pull of one feed whose items are all in the cache: fetch over loopback, parse, match, store.
void pullSeenItems(benchmark::State& state) {
  SetConnectedState(ConnectedState::Connected);
  const int items = static_cast<int>(state.range(0));
  LoopbackServer http;
  http.serve("/feed", rssDocument(items));
  const TemporaryBaseFolder base;
  Subscriptions subscriptions;
  subscriptions.add("benchmark", {{"feed", http.url("/feed")}});
  const std::unique_ptr<NewsServer> server(
      NewsServerFactory::GetFactory()->GetNewsServer(subscriptions.holder(), base.name()));
  Releaser subscriber;
  server->AttachSubscriber(&subscriber);
  NewsServer::WaitForPulls(-1);
  for (auto _ : state) {
    server->RefreshAllNewsForSubscriber(&subscriber);
    NewsServer::WaitForPulls(-1);
  }
  server->DetachSubscriber(&subscriber);
  state.SetItemsProcessed(state.iterations() * items);
}
BENCHMARK(pullSeenItems)->RangeMultiplier(10)->Range(100, 100'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
