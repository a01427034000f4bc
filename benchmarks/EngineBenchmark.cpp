#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstddef>
#include <memory>
#include <string>

#include "benchmarks/Documents.h"
#include "feed/FeedDates.h"
#include "feed/FeedParseState.h"
#include "modern/archive/Schema.h"
#include "platform/CodePage.h"
#include "quillmoria/NewsArchive.h"
#include "quillmoria/ParseFeed.h"
#include "store/ItemMatching.h"
#include "store/NewsItemCache.h"
#include "support/TemporaryFolder.h"

namespace {

std::unique_ptr<RSSObject> parsed(const std::string& document) {
  auto feed = std::make_unique<RSSObject>(RSSObject::ChannelStruct{}, nullptr, -1);
  FeedParseState(*feed).parse(document);
  return feed;
}

std::unique_ptr<RSSObject> parsedItems(std::int64_t items) {
  auto feed = parsed(documentOfItems(kDocumentFormats[0], static_cast<std::size_t>(items)));
  feed->channel.feedName = "feed";
  return feed;
}

void countBytes(benchmark::State& state, const std::string& document) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(document.size()));
}

/// From text to finished object, from memory.
void parse(benchmark::State& state, const std::string& document) {
  for (auto _ : state) benchmark::DoNotOptimize(parsed(document)->itemCount);
  countBytes(state, document);
}

void parseModern(benchmark::State& state, const std::string& document) {
  for (auto _ : state) benchmark::DoNotOptimize(ParseFeed(document, "", "http://example.org/")->itemCount);
  countBytes(state, document);
}

/// The same with a fault behind the last item: the document is read twice.
void parseBroken(benchmark::State& state, const std::string& document) {
  parseModern(state, document.substr(0, document.rfind("</")) + "&</broken>");
}

/// The least that a parse can cost: expat with handlers that do nothing.
void expat(benchmark::State& state, const std::string& document) {
  for (auto _ : state) {
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr), &XML_ParserFree);
    XML_SetElementHandler(
        parser.get(), [](void*, const char*, const char**) noexcept {}, [](void*, const char*) noexcept {});
    XML_SetCharacterDataHandler(parser.get(), [](void*, const char*, int) noexcept {});
    if (XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_FALSE) != XML_STATUS_OK) {
      state.SkipWithError("not parsed");
    }
  }
  countBytes(state, document);
}

void registerParses() {
  constexpr struct {
    const char* name;
    std::size_t bytes;
  } kSizes[] = {{"10K", 10'000}, {"100K", 100'000}, {"1M", 1'000'000}, {"10M", 10'000'000}};
  for (const DocumentFormat& format : kDocumentFormats) {
    for (const auto& size : kSizes) {
      const std::string document = documentOfSize(format, size.bytes);
      const std::string name = std::string("/") + format.name + "/" + size.name;
      benchmark::RegisterBenchmark(("expat" + name).c_str(), expat, document);
      benchmark::RegisterBenchmark(("parse" + name).c_str(), parse, document);
      benchmark::RegisterBenchmark(("parseModern" + name).c_str(), parseModern, document);
      benchmark::RegisterBenchmark(("parseBroken" + name).c_str(), parseBroken, document);
    }
  }
}

void parseItems(benchmark::State& state) {
  const std::string document = documentOfItems(kDocumentFormats[0], static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(parsed(document)->itemCount);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(parseItems)->RangeMultiplier(10)->Range(100, 100'000);

void parseModernItems(benchmark::State& state) {
  const std::string document = documentOfItems(kDocumentFormats[0], static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ParseFeed(document, "", "")->itemCount);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(parseModernItems)->RangeMultiplier(10)->Range(100, 100'000);

void matchAgainstAFullCache(benchmark::State& state) {
  const auto cached = parsedItems(state.range(0));
  const auto fresh = parsedItems(state.range(0));
  for (auto _ : state) quillmoria::matchItems(*fresh, *cached);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(matchAgainstAFullCache)->RangeMultiplier(10)->Range(100, 100'000);

void store(benchmark::State& state) {
  const TemporaryBaseFolder base;
  const auto feed = parsedItems(state.range(0));
  for (auto _ : state) {
    feed->channel.language = feed->channel.language.empty() ? "en" : "";  // else the file would stay
    if (NewsItemCache().StoreFeed(base.name(), feed.get(), 4, "") != 1) state.SkipWithError("not stored");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(store)->RangeMultiplier(10)->Range(100, 100'000);

void load(benchmark::State& state) {
  const TemporaryBaseFolder base;
  NewsItemCache cache;
  cache.StoreFeed(base.name(), parsedItems(state.range(0)).get(), 4, "");
  const std::string path = NewsItemCache::filePath(base.name(), "feed");
  for (auto _ : state) {
    const std::unique_ptr<RSSObject> loaded(cache.LoadFeed(path));
    if (loaded->itemCount != state.range(0)) state.SkipWithError("not loaded");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(load)->RangeMultiplier(10)->Range(100, 100'000);

std::string repeated(const std::string& piece) {
  std::string text;
  while (text.size() < 4096) text += piece;
  return text;
}

void widen(benchmark::State& state, const std::string& piece) {
  const std::string text = repeated(piece);
  std::u16string wide;
  for (auto _ : state) {
    wide.clear();
    quillmoria::appendUtf16(wide, text);
    benchmark::DoNotOptimize(wide.data());
  }
  countBytes(state, text);
}

void narrow(benchmark::State& state, const std::string& piece) {
  const std::string text = repeated(piece);
  const std::u16string wide = quillmoria::utf8ToWide(text);
  for (auto _ : state) benchmark::DoNotOptimize(quillmoria::wideToUtf8(wide));
  countBytes(state, text);
}

#define QUILLMORIA_CONVERSION(direction)                             \
  BENCHMARK_CAPTURE(direction, ascii, "plain text, ");               \
  BENCHMARK_CAPTURE(direction, mixed, "text with é and “quotes”, "); \
  BENCHMARK_CAPTURE(direction, japanese, "雨の日の散歩")
QUILLMORIA_CONVERSION(widen);
QUILLMORIA_CONVERSION(narrow);
#undef QUILLMORIA_CONVERSION

void readDate(benchmark::State& state, CTime (*read)(std::string_view), const char* text) {
  for (auto _ : state) benchmark::DoNotOptimize(read(text));
}
BENCHMARK_CAPTURE(readDate, w3c, quillmoria::readW3cDate, "2004-05-06T07:08:09Z");
BENCHMARK_CAPTURE(readDate, rfc822, quillmoria::readRfc822Date, "Sun, 19 May 2002 15:21:36 GMT");

/// Writes a million items into an empty archive: as pulls would, but by one statement a table.
void fillArchive(quillmoria::Database& archive) {
  quillmoria::Transaction transaction(archive);
  archive.run("INSERT INTO feeds(id, url, name, category) VALUES(1, 'http://example.org/', 'feed', 'category')");
  archive.run(
      "WITH RECURSIVE numbers(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < 1000000) "
      "INSERT INTO items(moment, id, feed, key, link_key, content_key, record_key, place, first_seen, last_seen, "
      "published, "
      "updated, "
      "guid, is_permalink, link, title, authors) SELECT n * 2097152, n, 1, n, n, n, n, n, n, n, n, -1, 'urn:' || n, 0, "
      "'http://example.org/' || n, 'Item ' || n || ' of the news', 'A. Writer' FROM numbers");
  archive.run(
      "INSERT INTO texts(item, plain, summary, content, comments_url, image_url, source_title, source_url, language) "
      "SELECT moment, 'Some text of the usual length, about nothing in particular: ' || (id % 1000) || ' things and ' "
      "|| "
      "(id % 7) || ' words', '', '<p>' || id || '</p>', '', '', '', '', '' FROM items");
  archive.run("INSERT INTO search(search) VALUES('rebuild')");
  transaction.commit();
}

const std::string& fullArchive() {
  static const TemporaryBaseFolder base;
  static const std::string name = [] {
    quillmoria::Database archive = quillmoria::openArchive(base.name());
    fillArchive(archive);
    return base.name();
  }();
  return name;
}

/// The ten newest items with a word that one of a thousand has.
void searchArchive(benchmark::State& state, const char* word) {
  NewsArchive archive(fullArchive());
  ItemQuery query;
  query.words = word;
  query.limit = 10;
  for (auto _ : state) {
    if (archive.Items(query).items.size() != 10) state.SkipWithError("not found");
  }
}

/// The least that it can cost.
void searchBareSql(benchmark::State& state, const char* word) {
  quillmoria::Database archive = quillmoria::openArchive(fullArchive());
  const std::string quoted = std::string("\"").append(word) + '"';
  for (auto _ : state) {
    std::size_t found = 0;
    quillmoria::Rows rows = archive.rows(
        "SELECT items.* FROM search JOIN items ON items.moment = search.rowid WHERE search MATCH ? "
        "ORDER BY search.rowid DESC LIMIT 10",
        quoted);
    while (rows.next()) found += rows.text(16).size();
    if (found == 0) state.SkipWithError("not found");
  }
}

#define QUILLMORIA_SEARCH(how)         \
  BENCHMARK_CAPTURE(how, rare, "777"); \
  BENCHMARK_CAPTURE(how, frequent, "news")
QUILLMORIA_SEARCH(searchArchive);
QUILLMORIA_SEARCH(searchBareSql);
#undef QUILLMORIA_SEARCH

}  // namespace

int main(int argc, char** argv) {
  registerParses();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
