#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <atomic>
#include <map>

#include "benchmarks/Pulls.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/Profile.h"

namespace {

void setUp(Profile profile, std::int64_t jobs) {
  SetProfile(profile);
  SetConnectedState(ConnectedState::Connected);
  NewsServer::SetParallelFetches(static_cast<std::int32_t>(jobs), static_cast<std::int32_t>(jobs));
}

/// One pull of one feed whose items are all in the cache: fetch over loopback, parse, match, store.
void pullSeenItems(benchmark::State& state) {
  setUp(Profile::Classic, 1);
  LoopbackServer http;
  http.serve("/feed", documentOfItems(kDocumentFormats[0], static_cast<std::size_t>(state.range(0))));
  Subscriptions subscriptions;
  subscriptions.add("benchmark", {{"feed", http.url("/feed")}});
  const TemporaryBaseFolder base;
  Reader reader(subscriptions, base.name());
  for (auto _ : state) reader.pull();
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(pullSeenItems)->RangeMultiplier(10)->Range(100, 100'000)->Unit(benchmark::kMillisecond)->UseRealTime();

// In the classic profile every document comes whole each time; in the modern one a server says that it has not changed.

template <Profile profile>
void pullFeeds(benchmark::State& state) {
  setUp(profile, state.range(0));
  const Feeds feeds{std::chrono::milliseconds(state.range(1))};
  Subscriptions subscriptions = feeds.subscriptions();
  const TemporaryBaseFolder base;
  Reader reader(subscriptions, base.name());
  for (auto _ : state) reader.pull();
}

template <bool isConditional>
void floorOfFeeds(benchmark::State& state) {
  const Feeds feeds{std::chrono::milliseconds(state.range(1))};
  Floor floor(feeds.urls(), static_cast<std::size_t>(state.range(0)), isConditional);
  for (auto _ : state) {
    if (floor.run() != feeds.urls().size()) state.SkipWithError("not all came");
  }
}

/// As on the first day.
template <Profile profile>
void pullColdFeeds(benchmark::State& state) {
  setUp(profile, state.range(0));
  const Feeds feeds{std::chrono::milliseconds(state.range(1))};
  Subscriptions subscriptions = feeds.subscriptions();
  for (auto _ : state) {
    const TemporaryBaseFolder base;
    const Reader reader(subscriptions, base.name());
  }
}

/// At once, and milliseconds before each answer.
void widths(benchmark::internal::Benchmark* benchmark) {
  for (const auto& [atOnce, delay] : {std::pair{1, 0}, {8, 0}, {8, 20}, {8, 100}}) benchmark->Args({atOnce, delay});
  benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}
BENCHMARK(floorOfFeeds<false>)->Name("floorOfFeeds")->Apply(widths);
BENCHMARK(pullFeeds<Profile::Classic>)->Name("pullFeeds")->Apply(widths);
BENCHMARK(floorOfFeeds<true>)->Name("floorOfUnchangedFeeds")->Apply(widths);
BENCHMARK(pullFeeds<Profile::Modern>)->Name("pullUnchangedFeeds")->Apply(widths);
BENCHMARK(pullColdFeeds<Profile::Classic>)->Name("pullColdFeeds")->Apply(widths);
BENCHMARK(pullColdFeeds<Profile::Modern>)->Name("pullColdModernFeeds")->Apply(widths);

// What a full archive costs.

/// An archive of so many items: ten feeds, and thirty more whose documents of forty items change with each pull.
class FullArchive {
 public:
  explicit FullArchive(std::size_t items) {
    setUp(Profile::Modern, 1);
    fill(items / kFeeds);
    std::vector<std::pair<std::string, std::string>> named;
    for (int i = 0; i < 30; ++i) {
      const std::string target = "/changing/" + std::to_string(i);
      http_.handle(target, [this](const std::string&) {
        return LoopbackServer::response("200 OK", "", documentFrom(++editions_ / 30));
      });
      named.emplace_back(target, http_.url(target));
    }
    changing_.add("changing", named);
    reader_ = std::make_unique<Reader>(changing_, base_.name());
  }

  void pull() { reader_->pull(); }

  /// The one of that size.
  static FullArchive& of(std::size_t items) {
    static std::map<std::size_t, std::unique_ptr<FullArchive>> archives;
    std::unique_ptr<FullArchive>& archive = archives[items];
    if (!archive) archive = std::make_unique<FullArchive>(items);
    return *archive;
  }

 private:
  static constexpr std::size_t kFeeds = 10;

  static std::string documentFrom(std::size_t first) {
    std::string document(kDocumentFormats[0].head);
    for (std::size_t i = first + 40; i-- > first;) appendItem(document, kDocumentFormats[0], i);
    return document.append(kDocumentFormats[0].tail);
  }

  void fill(std::size_t items) {
    http_.serve("/full", documentOfItems(kDocumentFormats[0], items));
    Subscriptions subscriptions;
    std::vector<std::pair<std::string, std::string>> named;
    for (std::size_t i = 0; i < kFeeds; ++i) {
      named.emplace_back("full " + std::to_string(i), http_.url("/full?" + std::to_string(i)));
      http_.serve("/full?" + std::to_string(i), documentOfItems(kDocumentFormats[0], items));
    }
    subscriptions.add("full", named);
    const Reader reader(subscriptions, base_.name());
  }

  const TemporaryBaseFolder base_;
  std::atomic<std::size_t> editions_ = 0;
  Subscriptions changing_;
  LoopbackServer http_;
  std::unique_ptr<Reader> reader_;
};

void pullIntoArchive(benchmark::State& state) {
  setUp(Profile::Modern, 1);
  FullArchive& archive = FullArchive::of(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) archive.pull();
}
BENCHMARK(pullIntoArchive)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
