#pragma once

#include <httplib.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace quillmoria {

/// How much of a connection a request may take up.
struct RequestBounds {
  std::size_t headBytes;
  std::size_t bodyBytes;
  std::chrono::milliseconds headTime;  ///< from its first byte to its empty line
  std::chrono::milliseconds time;      ///< and to its last
};

/// A connection of a client, closed at the end of the scope, from which a request can be read within bounds: what is
/// beyond them looks like its end. One thread at a time.
class Connection : public httplib::Stream {
 public:
  /// Owns `socket`.
  Connection(socket_t socket, const RequestBounds& bounds);
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Waits for the first byte of a request, for which all bounds begin anew. False if none comes in time.
  bool waitForRequest(std::chrono::milliseconds patience);

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string& address, int& port) const override;
  void get_local_ip_and_port(std::string& address, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool fill();
  void follow(const char* bytes, std::size_t size);

  const socket_t socket_;
  const RequestBounds bounds_;
  std::string buffer_;
  std::size_t place_ = 0;  ///< of the first byte in the buffer that has not been read
  Clock::time_point start_;
  std::size_t bytes_ = 0;      ///< of the request that have been read
  std::size_t lineBytes_ = 0;  ///< of the line of the head that is being read
  bool isInHead_ = true;
};

}  // namespace quillmoria
