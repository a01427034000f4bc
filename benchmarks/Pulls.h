#pragma once

#include <curl/curl.h>
#include <expat.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "benchmarks/Documents.h"
#include "quillmoria/NewsServer.h"
#include "support/LoopbackServer.h"
#include "support/Subscriptions.h"
#include "support/TemporaryFolder.h"

/// A subscriber that looks at nothing.
class Releaser : public RSSSubscriber {
 public:
  void NewsReceived(RSSObject* feed, RSSEvent) override { delete feed; }
  void EventReceived(RSSEvent) override {}
};

/// What is subscribed to in a base folder, to be pulled again and again.
class Reader {
 public:
  Reader(Subscriptions& subscriptions, const std::string& baseFolder)
      : server_(NewsServerFactory::GetFactory()->GetNewsServer(subscriptions.holder(), baseFolder)) {
    server_->AttachSubscriber(&subscriber_);
    NewsServer::WaitForPulls(-1);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() { server_->DetachSubscriber(&subscriber_); }

  void pull() {
    server_->RefreshAllNewsForSubscriber(&subscriber_);
    NewsServer::WaitForPulls(-1);
  }

 private:
  Releaser subscriber_;
  const std::unique_ptr<NewsServer> server_;
};

/// 300 feeds of 20 to 60 KB, in turn of each format, from one server that takes its time for each answer and says when
/// a document has not changed.
class Feeds {
 public:
  explicit Feeds(std::chrono::milliseconds delay) {
    for (std::size_t i = 0; i < 300; ++i) {
      const DocumentFormat& format = kDocumentFormats[i % std::size(kDocumentFormats)];
      const std::string target = "/" + std::to_string(i);
      const std::string document =
          LoopbackServer::response("200 OK", "ETag: \"1\"\r\n", documentOfSize(format, 20'000 + i * 133 % 40'000));
      http_.handle(target, [delay, document](const std::string& head) {
        std::this_thread::sleep_for(delay);
        return head.find("\r\nIf-None-Match: ") == std::string::npos ? document : "HTTP/1.1 304 Not Modified\r\n\r\n";
      });
      urls_.push_back(http_.url(target));
    }
  }

  const std::vector<std::string>& urls() const { return urls_; }

  /// Subscriptions of them all.
  Subscriptions subscriptions() const {
    std::vector<std::pair<std::string, std::string>> named;
    for (const std::string& url : urls_) named.emplace_back("feed " + std::to_string(named.size()), url);
    Subscriptions subscriptions;
    subscriptions.add("benchmark", named);
    return subscriptions;
  }

 private:
  LoopbackServer http_;
  std::vector<std::string> urls_;
};

/// The least that a pull can cost: kept connections, expat that gathers the text, one file a feed; of feeds that have
/// not changed the requests alone.
class Floor {
 public:
  Floor(const std::vector<std::string>& urls, std::size_t connections, bool isConditional)
      : urls_(urls), multi_(curl_multi_init()), transfers_(connections) {
    if (isConditional) fields_.reset(curl_slist_append(nullptr, "If-None-Match: \"1\""));
    for (Transfer& transfer : transfers_) {
      transfer.easy = curl_easy_init();
      curl_easy_setopt(transfer.easy, CURLOPT_PRIVATE, &transfer);
      curl_easy_setopt(transfer.easy, CURLOPT_WRITEDATA, &transfer.body);
      curl_easy_setopt(transfer.easy, CURLOPT_WRITEFUNCTION, append);
      curl_easy_setopt(transfer.easy, CURLOPT_HTTPHEADER, fields_.get());
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
      if (!transfer->body.empty()) keepText(transfer->body);
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
  std::unique_ptr<curl_slist, void (*)(curl_slist*)> fields_{nullptr, &curl_slist_free_all};
  CURLM* multi_;
  std::vector<Transfer> transfers_;
  std::size_t begun_ = 0;
  std::size_t ended_ = 0;
  std::size_t come_ = 0;
  TemporaryBaseFolder base_;
};
