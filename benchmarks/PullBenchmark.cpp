#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <expat.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

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

/// Pulls whatever is subscribed to, again and again.
void pull(benchmark::State& state, Subscriptions& subscriptions, std::int32_t jobs) {
  SetConnectedState(ConnectedState::Connected);
  NewsServer::SetParallelFetches(jobs, jobs);
  const TemporaryBaseFolder base;
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
}

/// One pull of one feed whose items are all in the cache: fetch over loopback, parse, match, store.
void pullSeenItems(benchmark::State& state) {
  LoopbackServer http;
  http.serve("/feed", documentOfItems(kDocumentFormats[0], static_cast<std::size_t>(state.range(0))));
  Subscriptions subscriptions;
  subscriptions.add("benchmark", {{"feed", http.url("/feed")}});
  pull(state, subscriptions, 1);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(pullSeenItems)->RangeMultiplier(10)->Range(100, 100'000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// 300 feeds of 20 to 60 KB, in turn of each format, from one server that takes its time for each answer.
class Feeds {
 public:
  explicit Feeds(std::chrono::milliseconds delay) {
    for (std::size_t i = 0; i < 300; ++i) {
      const DocumentFormat& format = kDocumentFormats[i % std::size(kDocumentFormats)];
      const std::string target = "/" + std::to_string(i);
      const std::string answer =
          LoopbackServer::response("200 OK", "", documentOfSize(format, 20'000 + i * 133 % 40'000));
      http_.handle(target, [delay, answer](const std::string&) {
        std::this_thread::sleep_for(delay);
        return answer;
      });
      urls_.push_back(http_.url(target));
    }
  }

  const std::vector<std::string>& urls() const { return urls_; }

 private:
  LoopbackServer http_;
  std::vector<std::string> urls_;
};

void pullFeeds(benchmark::State& state) {
  const Feeds feeds{std::chrono::milliseconds(state.range(1))};
  Subscriptions subscriptions;
  std::vector<std::pair<std::string, std::string>> named;
  for (const std::string& url : feeds.urls()) named.emplace_back("feed " + std::to_string(named.size()), url);
  subscriptions.add("benchmark", named);
  pull(state, subscriptions, static_cast<std::int32_t>(state.range(0)));
}

/// The least that a pull can cost: kept connections, expat that gathers the text, one file a feed.
class Floor {
 public:
  Floor(const std::vector<std::string>& urls, std::size_t connections)
      : urls_(urls), multi_(curl_multi_init()), transfers_(connections) {
    for (Transfer& transfer : transfers_) {
      transfer.easy = curl_easy_init();
      curl_easy_setopt(transfer.easy, CURLOPT_PRIVATE, &transfer);
      curl_easy_setopt(transfer.easy, CURLOPT_WRITEDATA, &transfer.body);
      curl_easy_setopt(transfer.easy, CURLOPT_WRITEFUNCTION, append);
    }
  }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;
  ~Floor() {
    for (const Transfer& transfer : transfers_) curl_easy_cleanup(transfer.easy);
    curl_multi_cleanup(multi_);
  }

  /// Returns how many feeds came.
  std::size_t run() {
    begun_ = ended_ = come_ = 0;
    for (Transfer& transfer : transfers_) begin(transfer);
    for (int running = 0; ended_ < urls_.size();) {
      curl_multi_perform(multi_, &running);
      if (!finishSome()) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
    return come_;
  }

 private:
  struct Transfer {
    CURL* easy = nullptr;
    std::string body;
  };

  static std::size_t append(char* bytes, std::size_t, std::size_t count, void* body) noexcept {
    static_cast<std::string*>(body)->append(bytes, count);
    return count;
  }

  void begin(Transfer& transfer) {
    if (begun_ == urls_.size()) return;
    transfer.body.clear();
    curl_easy_setopt(transfer.easy, CURLOPT_URL, urls_[begun_++].c_str());
    curl_multi_add_handle(multi_, transfer.easy);
  }

  bool finishSome() {
    bool any = false;
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      Transfer* transfer = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
      ++ended_;
      come_ += message->data.result == CURLE_OK;
      curl_multi_remove_handle(multi_, transfer->easy);
      keepText(transfer->body);
      begin(*transfer);
      any = true;
    }
    return any;
  }

  void keepText(const std::string& document) const {
    std::string text;
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr), &XML_ParserFree);
    XML_SetUserData(parser.get(), &text);
    XML_SetElementHandler(
        parser.get(), [](void*, const char*, const char**) noexcept {}, [](void*, const char*) noexcept {});
    XML_SetCharacterDataHandler(parser.get(), [](void* all, const char* chunk, int length) noexcept {
      static_cast<std::string*>(all)->append(chunk, static_cast<std::size_t>(length));
    });
    XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_FALSE);
    base_.write("cache/" + std::to_string(ended_), text);
  }

  const std::vector<std::string>& urls_;
  CURLM* multi_;
  std::vector<Transfer> transfers_;
  std::size_t begun_ = 0;
  std::size_t ended_ = 0;
  std::size_t come_ = 0;
  TemporaryBaseFolder base_;
};

void floorOfFeeds(benchmark::State& state) {
  const Feeds feeds{std::chrono::milliseconds(state.range(1))};
  Floor floor(feeds.urls(), static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    if (floor.run() != feeds.urls().size()) state.SkipWithError("not all came");
  }
}

/// At once, and milliseconds before each answer.
void widths(benchmark::internal::Benchmark* benchmark) {
  for (const auto& [atOnce, delay] : {std::pair{1, 0}, {8, 0}, {8, 20}, {8, 100}}) benchmark->Args({atOnce, delay});
  benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}
BENCHMARK(floorOfFeeds)->Apply(widths);
BENCHMARK(pullFeeds)->Apply(widths);

}  // namespace
