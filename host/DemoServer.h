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
  /// Throws Failure if there is no port to be had.
  DemoServer();
  ~DemoServer();
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

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
