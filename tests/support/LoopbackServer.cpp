#include "support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

LoopbackServer::LoopbackServer() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) || listen(listener_, 64) ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size)) {
    throw std::runtime_error("no loopback port");
  }
  port_ = ntohs(address.sin_port);
  accepting_ = std::thread([this] { accept(); });
}

LoopbackServer::~LoopbackServer() {
  shutdown(listener_, SHUT_RDWR);
  accepting_.join();
  close(listener_);
  {
    std::lock_guard lock(mutex_);
    for (int socket : sockets_) shutdown(socket, SHUT_RDWR);
  }
  for (std::thread& thread : connectionThreads_) thread.join();
  for (int socket : sockets_) close(socket);
}

std::string LoopbackServer::response(const std::string& status, const std::string& headers, const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void LoopbackServer::talk(const std::string& target, Talk talk) {
  std::lock_guard lock(mutex_);
  talks_[target] = std::move(talk);
}

std::vector<std::string> LoopbackServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

int LoopbackServer::connections() const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(sockets_.size());
}

void LoopbackServer::accept() {
  for (int socket; (socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    std::lock_guard lock(mutex_);
    sockets_.push_back(socket);
    connectionThreads_.emplace_back([this, socket] { serveConnection(socket); });
  }
}

void LoopbackServer::serveConnection(int socket) {
  const Send sendAll = [socket](const std::string& bytes) {
    return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  };
  std::string input;
  char buffer[4096];
  for (ssize_t n; (n = recv(socket, buffer, sizeof buffer, 0)) > 0;) {
    input.append(buffer, static_cast<std::size_t>(n));
    constexpr char kTlsHandshake = 0x16;
    if (closesOnTls_ && input.front() == kTlsHandshake) break;
    for (std::size_t end; (end = input.find("\r\n\r\n")) != std::string::npos;) {
      const std::string head = input.substr(0, end + 4);
      input.erase(0, end + 4);
      const std::size_t from = head.find(' ') + 1;
      Talk talk = [](const std::string&, const Send& reply) { return reply(response("404 Not Found", "", "")); };
      {
        std::lock_guard lock(mutex_);
        requests_.push_back(head);
        const auto found = talks_.find(head.substr(from, head.find(' ', from) - from));
        if (found != talks_.end()) talk = found->second;
      }
      const bool isLast = head.find("\r\nConnection: close\r\n") != std::string::npos;
      if (!talk(head, sendAll) || isLast) {
        shutdown(socket, SHUT_RDWR);
        return;
      }
    }
  }
  shutdown(socket, SHUT_RDWR);
}
