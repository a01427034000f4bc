#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}

namespace quillmoria {

/// Serves the samples on a loopback port while it lives: with an entity tag each, by which a client that has one
/// already is told so, and sends on from an address that a sample had before.
class DemoServer {
 public:
  /// Serves at `port`, or at any that is free if that is 0. Throws Failure if it cannot be had.
  explicit DemoServer(int port = 0);
  ~DemoServer();
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  /// "http://127.0.0.1:8080"
  const std::string& address() const { return address_; }

  /// The address of a sample: url("/example-news.rss").
  std::string url(const std::string& target) const { return address_ + target; }

  /// How many requests have been answered.
  int requestCount() const { return requestCount_; }

 private:
  std::unique_ptr<httplib::Server> server_;
  std::string address_;
  std::atomic<int> requestCount_ = 0;
  std::thread thread_;
};

}  // namespace quillmoria
