#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "benchmarks/Documents.h"
#include "feed/FeedDates.h"
#include "feed/FeedParseState.h"
#include "platform/CodePage.h"
#include "store/ItemMatching.h"
#include "store/NewsItemCache.h"
#include "support/TemporaryFolder.h"

namespace {

std::unique_ptr<RSSObject> parsed(const std::string& document) {
  auto feed = std::make_unique<RSSObject>(RSSObject::ChannelStruct{}, nullptr, -1);
  FeedParseState(*feed).parse(document);
  return feed;
}

/// From text to finished object, from memory.
void parse(benchmark::State& state) {
  const std::string document = rssDocument(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(parsed(document)->itemCount);
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(document.size()));
}
BENCHMARK(parse)->RangeMultiplier(10)->Range(10, 100'000);

void matchAgainstAFullCache(benchmark::State& state) {
  const std::string document = rssDocument(static_cast<int>(state.range(0)));
  const auto cached = parsed(document);
  const auto fresh = parsed(document);
  for (auto _ : state) quillmoria::matchItems(*fresh, *cached);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(matchAgainstAFullCache)->RangeMultiplier(10)->Range(100, 100'000);

void store(benchmark::State& state) {
  const TemporaryBaseFolder base;
  const auto feed = parsed(rssDocument(static_cast<int>(state.range(0))));
  feed->channel.feedName = "feed";
  for (auto _ : state) {
    if (NewsItemCache().StoreFeed(base.name(), feed.get(), 4, "") != 1) state.SkipWithError("not stored");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(store)->RangeMultiplier(10)->Range(100, 100'000);

void load(benchmark::State& state) {
  const TemporaryBaseFolder base;
  const auto feed = parsed(rssDocument(static_cast<int>(state.range(0))));
  feed->channel.feedName = "feed";
  NewsItemCache cache;
  cache.StoreFeed(base.name(), feed.get(), 4, "");
  const std::string path = NewsItemCache::filePath(base.name(), "feed");
  for (auto _ : state) {
    const std::unique_ptr<RSSObject> loaded(cache.LoadFeed(path));
    if (loaded->itemCount != state.range(0)) state.SkipWithError("not loaded");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(load)->RangeMultiplier(10)->Range(100, 100'000);

void widen(benchmark::State& state, const std::string& piece) {
  std::string text;
  while (text.size() < 4096) text += piece;
  std::u16string wide;
  for (auto _ : state) {
    wide.clear();
    quillmoria::appendUtf16(wide, text);
    benchmark::DoNotOptimize(wide.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(widen, ascii, "plain text, ");
BENCHMARK_CAPTURE(widen, mixed, "text with é and “quotes”, ");
BENCHMARK_CAPTURE(widen, japanese, "雨の日の散歩");

void readDate(benchmark::State& state, CTime (*read)(std::string_view), const char* text) {
  for (auto _ : state) benchmark::DoNotOptimize(read(text));
}
BENCHMARK_CAPTURE(readDate, w3c, quillmoria::readW3cDate, "2004-05-06T07:08:09Z");
BENCHMARK_CAPTURE(readDate, rfc822, quillmoria::readRfc822Date, "Sun, 19 May 2002 15:21:36 GMT");

}  // namespace
