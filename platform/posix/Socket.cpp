#include "platform/Socket.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quillmoria {

Socket openSocket(int family, int type, int protocol) { return ::socket(family, type | SOCK_CLOEXEC, protocol); }

int closeSocket(Socket socket) { return ::close(socket); }

bool hasInput(Socket socket) {
  pollfd waiting{socket, POLLIN, 0};
  return socket != kNoSocket && ::poll(&waiting, 1, 0) > 0;
}

std::string textOf(const sockaddr& address, std::uint32_t size) {
  char host[NI_MAXHOST] = "";
  getnameinfo(&address, size, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
  return host;
}

}  // namespace quillmoria
