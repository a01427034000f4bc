#include "reader/BoundedServer.h"

#include <chrono>
#include <cstddef>
#include <utility>

namespace quillmoria {

BoundedServer::BoundedServer(const RequestBounds& bounds, Welcome isWelcome)
    : bounds_(bounds), isWelcome_(std::move(isWelcome)) {}

bool BoundedServer::process_and_close_socket(socket_t socket) {
  Connection connection(socket, bounds_);
  if (!isWelcome_(connection)) return false;
  const std::chrono::seconds idle(keep_alive_timeout_sec_);
  bool isToStay = true;
  for (std::size_t left = keep_alive_max_count_; isToStay && left > 0 && svr_sock_ != INVALID_SOCKET; --left) {
    if (!connection.waitForRequest(idle)) return true;
    bool isAdmitted = false;
    bool isLast = false;
    const auto lookAt = [&](httplib::Request& head) { isAdmitted = mayGoOn_(head); };
    isToStay = process_request(connection, left == 1, isLast, lookAt) && isAdmitted && !isLast;
  }
  return true;
}

}  // namespace quillmoria
