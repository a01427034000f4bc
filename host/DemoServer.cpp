#include "DemoServer.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <string_view>

#include "Failure.h"
#include "SampleFeeds.h"
#include "Samples.h"

namespace quillmoria {
namespace {

constexpr std::size_t kRequestsPerConnection = 1000;
constexpr int kMovedPermanently = 301;
constexpr int kNotModified = 304;
constexpr time_t kIdleSeconds = 1;  // the end of the server waits for idle connections as long

/// The tag of a sample. A later server's has other times in it; who has the sample keeps its own.
std::string entityTag(std::string_view target) { return '"' + std::string(target.substr(1)) + '"'; }

/// Browsers ask for these as well.
struct MediaType {
  std::string_view ending;
  const char* name;
};

constexpr MediaType kMediaTypes[] = {{".png", "image/png"}, {".gif", "image/gif"}, {".wav", "audio/wav"}};

const char* mediaTypeOf(std::string_view target) {
  const auto type =
      std::ranges::find_if(kMediaTypes, [&](const MediaType& each) { return target.ends_with(each.ending); });
  return type == std::end(kMediaTypes) ? "application/octet-stream" : type->name;
}

/// Unlike the library's own choice it lets nobody else have the port at the same time.
void setSocketOptions(int socket) {
  const int on = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

int bind(httplib::Server& server, int port) {
  constexpr const char* kLoopback = "127.0.0.1";
  if (port == 0) return server.bind_to_any_port(kLoopback);
  return server.bind_to_port(kLoopback, port) ? port : -1;
}

}  // namespace

DemoServer::DemoServer(int port) : server_(std::make_unique<httplib::Server>()) {
  server_->set_keep_alive_max_count(kRequestsPerConnection);
  server_->set_keep_alive_timeout(kIdleSeconds);
  server_->set_tcp_nodelay(true);
  server_->set_logger([this](const httplib::Request&, const httplib::Response&) { ++requestCount_; });
  server_->set_socket_options(setSocketOptions);
  const int bound = bind(*server_, port);
  if (bound < 0) {
    throw Failure(kFailed, port == 0 ? "there is no loopback port for the server of the samples"
                                     : "the loopback port " + std::to_string(port) + " of the samples is taken");
  }
  address_ = "http://127.0.0.1:" + std::to_string(bound);
  const std::time_t start = std::time(nullptr);
  for (const EmbeddedFile& sample : samples()) {
    server_->Get(std::string(sample.target),
                 [bytes = filledSample(sample.bytes, address_, start), tag = entityTag(sample.target),
                  type = mediaTypeOf(sample.target)](const httplib::Request& request, httplib::Response& response) {
                   response.set_header("ETag", tag);
                   if (request.get_header_value("If-None-Match") == tag) {
                     response.status = kNotModified;
                   } else {
                     response.set_content(bytes, type);
                   }
                 });
  }
  for (const SampleMove& move : sampleMoves()) {
    server_->Get(std::string(move.from),
                 [to = url(std::string(move.to))](const httplib::Request&, httplib::Response& response) {
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
