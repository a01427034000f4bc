#include "DemoServer.h"

#include <httplib.h>

#include <string_view>

#include "Failure.h"
#include "Samples.h"

namespace quillmoria {
namespace {

constexpr std::string_view kServerMark = "@SERVER@";
constexpr std::size_t kRequestsPerConnection = 1000;
constexpr int kMovedPermanently = 301;
constexpr int kNotModified = 304;
constexpr time_t kIdleSeconds = 1;  // the end of the server waits for idle connections as long

struct Move {
  const char* from;
  const char* to;
};

constexpr Move kMoves[] = {{"/station.rss", "/example-station.rss"}};

/// The tag of bytes that never change while the server lives.
std::string entityTag(std::string_view target) { return '"' + std::string(target.substr(1)) + '"'; }

std::string withAddress(std::string_view sample, const std::string& address) {
  std::string bytes(sample);
  for (std::size_t at = 0; (at = bytes.find(kServerMark, at)) != std::string::npos; at += address.size()) {
    bytes.replace(at, kServerMark.size(), address);
  }
  return bytes;
}

}  // namespace

DemoServer::DemoServer() : server_(std::make_unique<httplib::Server>()) {
  server_->set_keep_alive_max_count(kRequestsPerConnection);
  server_->set_keep_alive_timeout(kIdleSeconds);
  server_->set_tcp_nodelay(true);
  server_->set_logger([this](const httplib::Request&, const httplib::Response&) { ++requestCount_; });
  const int port = server_->bind_to_any_port("127.0.0.1");
  if (port < 0) throw Failure(kFailed, "there is no loopback port for the server of the samples");
  address_ = "http://127.0.0.1:" + std::to_string(port);
  for (const EmbeddedFile& sample : samples()) {
    server_->Get(std::string(sample.target),
                 [bytes = withAddress(sample.bytes, address_), tag = entityTag(sample.target)](
                     const httplib::Request& request, httplib::Response& response) {
                   response.set_header("ETag", tag);
                   if (request.get_header_value("If-None-Match") == tag) {
                     response.status = kNotModified;
                   } else {
                     response.set_content(bytes, "application/octet-stream");
                   }
                 });
  }
  for (const Move& move : kMoves) {
    server_->Get(move.from, [to = url(move.to)](const httplib::Request&, httplib::Response& response) {
      response.set_redirect(to, kMovedPermanently);
    });
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  while (!server_->is_running()) std::this_thread::yield();
}

DemoServer::~DemoServer() {
  server_->stop();
  thread_.join();
}

}  // namespace quillmoria
