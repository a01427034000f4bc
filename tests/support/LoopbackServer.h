#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// A server on a loopback port that answers with exact bytes and keeps what it is sent.
///
///     LoopbackServer server;
///     server.serve("/news.rss", "<rss>…</rss>");
///     fetch(server.url("/news.rss"));
///     EXPECT_EQ(server.requests().front(), "GET /news.rss HTTP/1.1\r\n…");
///
/// Connections are kept open unless a request forbids it; each has a thread of its own.
class LoopbackServer {
 public:
  /// Gets the request's head (up to its empty line), returns the response's bytes. An empty response closes the
  /// connection.
  using Handler = std::function<std::string(const std::string& head)>;

  /// Sends bytes at once; false when the other side has gone.
  using Send = std::function<bool(const std::string& bytes)>;

  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// A complete response with status line `status` ("200 OK"), `headers` (lines with CR LF), the length and `body`.
  static std::string response(const std::string& status, const std::string& headers, const std::string& body);

  void serve(const std::string& target, const std::string& body) { answer(target, response("200 OK", "", body)); }
  void answer(const std::string& target, std::string bytes) {
    const auto shared = std::make_shared<const std::string>(std::move(bytes));
    talk(target, [shared](const std::string&, const Send& send) { return !shared->empty() && send(*shared); });
  }
  void handle(const std::string& target, Handler handler) {
    talk(target, [handler = std::move(handler)](const std::string& head, const Send& send) {
      const std::string bytes = handler(head);
      return !bytes.empty() && send(bytes);
    });
  }

  /// For servers that misbehave: `talk` gets the request's head and sends what it likes. False closes the connection.
  using Talk = std::function<bool(const std::string& head, const Send& send)>;
  void talk(const std::string& target, Talk talk);

  /// Lets go of whoever begins to speak TLS, and does not wait for the end of a request.
  void closeOnTls() { closesOnTls_ = true; }

  std::uint16_t port() const { return port_; }
  std::string url(const std::string& target) const { return "http://127.0.0.1:" + std::to_string(port_) + target; }

  /// The heads of all requests in the order of their arrival.
  std::vector<std::string> requests() const;
  int connections() const;

 private:
  void accept();
  void serveConnection(int socket);

  int listener_;
  std::atomic<bool> closesOnTls_ = false;
  std::uint16_t port_ = 0;
  mutable std::mutex mutex_;  ///< guards all below
  std::map<std::string, Talk> talks_;
  std::vector<std::string> requests_;
  std::vector<int> sockets_;
  std::vector<std::thread> connectionThreads_;
  std::thread accepting_;
};
