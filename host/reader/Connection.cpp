#include "reader/Connection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quillmoria {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr std::size_t kBufferBytes = 16 << 10;
constexpr milliseconds kPatience = 5s;  // with a client that neither sends nor takes a byte

/// Whether `events` come within `patience`.
bool waitFor(socket_t socket, short events, milliseconds patience) {
  pollfd wanted{.fd = socket, .events = events, .revents = 0};
  int result = 0;
  do {
    result = poll(&wanted, 1, static_cast<int>(std::max(patience, 0ms).count()));
  } while (result < 0 && errno == EINTR);
  return result > 0;
}

/// Address and port as `name`, one of the system's functions that tell them, has them.
void tell(socket_t socket, int (*name)(int, sockaddr*, socklen_t*), std::string& address, int& port) {
  sockaddr_in place{};
  socklen_t size = sizeof place;
  char text[INET_ADDRSTRLEN] = "";
  if (name(socket, reinterpret_cast<sockaddr*>(&place), &size) != 0 || place.sin_family != AF_INET) return;
  inet_ntop(AF_INET, &place.sin_addr, text, sizeof text);
  address = text;
  port = ntohs(place.sin_port);
}

}  // namespace

Connection::Connection(socket_t socket, const RequestBounds& bounds) : socket_(socket), bounds_(bounds) {}

/// The client reads what was sent, though it may not have sent all.
Connection::~Connection() {
  shutdown(socket_, SHUT_RDWR);
  close(socket_);
}

bool Connection::waitForRequest(milliseconds patience) {
  if (place_ == buffer_.size() && !waitFor(socket_, POLLIN, patience)) return false;
  start_ = Clock::now();
  bytes_ = 0;
  lineBytes_ = 0;
  isInHead_ = true;
  return true;
}

bool Connection::is_readable() const { return place_ < buffer_.size() || waitFor(socket_, POLLIN, 0ms); }

bool Connection::is_writable() const {
  char byte = 0;
  const bool isGone = waitFor(socket_, POLLIN, 0ms) && recv(socket_, &byte, 1, MSG_PEEK) == 0;
  return !isGone && waitFor(socket_, POLLOUT, kPatience);
}

ssize_t Connection::read(char* bytes, std::size_t size) {
  const std::size_t bound = isInHead_ ? bounds_.headBytes : bounds_.headBytes + bounds_.bodyBytes;
  if (bytes_ >= bound) return 0;
  if (place_ == buffer_.size() && !fill()) return 0;
  const std::size_t count = std::min({size, buffer_.size() - place_, bound - bytes_});
  std::memcpy(bytes, buffer_.data() + place_, count);
  place_ += count;
  bytes_ += count;
  follow(bytes, count);
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* bytes, std::size_t size) {
  if (!waitFor(socket_, POLLOUT, kPatience)) return -1;
  ssize_t sent = 0;
  do {
    sent = send(socket_, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  } while (sent < 0 && errno == EINTR);
  return sent;
}

void Connection::get_remote_ip_and_port(std::string& address, int& port) const {
  tell(socket_, getpeername, address, port);
}

void Connection::get_local_ip_and_port(std::string& address, int& port) const {
  tell(socket_, getsockname, address, port);
}

/// Waits for the next bytes of the request, no longer than it may take.
bool Connection::fill() {
  const auto left =
      std::chrono::duration_cast<milliseconds>(start_ + (isInHead_ ? bounds_.headTime : bounds_.time) - Clock::now());
  if (left <= 0ms || !waitFor(socket_, POLLIN, std::min(left, kPatience))) return false;
  buffer_.resize(kBufferBytes);
  ssize_t count = 0;
  do {
    count = recv(socket_, buffer_.data(), buffer_.size(), 0);
  } while (count < 0 && errno == EINTR);
  buffer_.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  place_ = 0;
  return count > 0;
}

/// Notices the empty line that ends the head.
void Connection::follow(const char* bytes, std::size_t size) {
  for (std::size_t i = 0; isInHead_ && i < size; ++i) {
    if (bytes[i] == '\n') {
      isInHead_ = lineBytes_ > 0;
      lineBytes_ = 0;
    } else if (bytes[i] != '\r') {
      ++lineBytes_;
    }
  }
}

}  // namespace quillmoria
