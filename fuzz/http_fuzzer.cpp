#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <string_view>

#include "Fuzzing.h"
#include "net/HTTPFetcher.h"
#include "platform/AfxParseURL.h"
#include "platform/Thread.h"

namespace {

/// What goes over the wire is three words and known header lines, whatever the addresses hold.
void requireSoundRequest(std::string_view head) {
  require(head.starts_with("GET ") || head.starts_with("CONNECT "));
  const std::string_view line = head.substr(0, head.find("\r\n"));
  require(std::ranges::count(line, ' ') == 2 && line.ends_with(" HTTP/1.1"));
  require(std::ranges::none_of(line, [](unsigned char c) { return c < ' ' || c >= 0x7F; }));
  for (head.remove_prefix(line.size() + 2); !head.empty(); head.remove_prefix(head.find("\r\n") + 2)) {
    require(head.starts_with("Accept: ") || head.starts_with("Host: ") || head.starts_with("User-Agent: "));
  }
}

/// A proxy on loopback that stands for every server: nothing leaves the machine. Answers a request with the bytes up to
/// the next mark, those after the last mark to all further requests, and closes.
class Proxy {
 public:
  static constexpr char kMark = '\x1e';

  Proxy() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    socklen_t size = sizeof address_;
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    require(!bind(listener_, address, size) && !listen(listener_, 8) && !getsockname(listener_, address, &size));
    baseFolder().write("config/quillmoria.ini",
                       "[Proxy]\nType=3\nServer=127.0.0.1\nPort=" + std::to_string(ntohs(address_.sin_port)) + "\n");
    thread_ = quillmoria::_beginthread([](void* self) { static_cast<Proxy*>(self)->serveAll(); }, this);
  }
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;
  ~Proxy() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }

  void answer(std::string answers) {
    const std::lock_guard lock(mutex_);
    answers_ = std::move(answers);
  }

 private:
  /// No signal comes to this thread: the fuzzer's timer would end its wait.
  void serveAll() {
    for (int client; (client = accept(listener_, nullptr, nullptr)) >= 0; close(client)) serve(client);
  }

  void serve(int client) {
    std::string head;
    char buffer[4096];
    while (!head.ends_with("\r\n\r\n")) {
      const ssize_t count = recv(client, buffer, sizeof buffer, 0);
      if (count <= 0) return;
      head.append(buffer, static_cast<std::size_t>(count));
    }
    requireSoundRequest(std::string_view(head).substr(0, head.size() - 2));
    const std::lock_guard lock(mutex_);
    const std::size_t end = answers_.find(kMark);
    send(client, answers_.data(), std::min(end, answers_.size()), MSG_NOSIGNAL);
    if (end != std::string::npos) answers_.erase(0, end + 1);
  }

  int listener_;
  sockaddr_in address_{};
  std::mutex mutex_;  ///< guards the answers
  std::string answers_;
  quillmoria::Thread thread_;
};

void requireSoundParts(std::string_view url) {
  CString server;
  CString object;
  std::uint16_t port = 0;
  const bool isTaken = AfxParseURL(url, server, object, port);
  require(isTaken == !server.empty() && isTaken == !object.empty() && isTaken == (port != 0));
  require(std::ranges::none_of(server, [](unsigned char c) { return c <= ' '; }));
}

}  // namespace

/// The first line is fetched; the rest is what the servers send.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Proxy proxy;
  const std::string input = textOf(data, size);
  const std::size_t end = std::min(input.find('\n'), input.size());
  const std::string url = input.substr(0, end);
  requireSoundParts(url);

  proxy.answer(input.substr(std::min(end + 1, input.size())));
  HTTPFetcher fetcher;
  fetcher.PrepareFetch(baseFolder().name());
  std::string body;
  fetcher.FetchURL(url, nullptr, nullptr, &body);
  require(body.find('\0') == std::string::npos);
  return 0;
}
