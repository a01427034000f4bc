#pragma once

#include <httplib.h>

#include <functional>

#include "reader/Connection.h"

namespace quillmoria {

/// A server of the library that answers within bounds, which the library does not set by itself: for a request's header
/// lines and for a body without a stated length, and in time.
class BoundedServer : public httplib::Server {
 public:
  /// Whether a process may talk to the server, told by the connection, before a byte of it is read.
  using Welcome = std::function<bool(const Connection& connection)>;

  /// Whether the rest of a request is to be read, and others on its connection, told by its head.
  using Admission = std::function<bool(const httplib::Request& head)>;

  BoundedServer(const RequestBounds& bounds, Welcome isWelcome);

  /// All are admitted before this is called; to be called before the server listens.
  void admit(Admission mayGoOn) { mayGoOn_ = std::move(mayGoOn); }

 private:
  bool process_and_close_socket(socket_t socket) override;

  const RequestBounds bounds_;
  const Welcome isWelcome_;
  Admission mayGoOn_ = [](const httplib::Request&) { return true; };
};

}  // namespace quillmoria
