#include "reader/PeerOwner.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace quillmoria {
namespace {

/// A table of the system's connections, and how it writes 127.0.0.1.
struct Table {
  const char* path;
  const char* loopback;
};

constexpr Table kTables[] = {{"/proc/net/tcp", "0100007F"}, {"/proc/net/tcp6", "0000000000000000FFFF00000100007F"}};

std::string addressIn(const Table& table, int port) {
  char address[64];
  std::snprintf(address, sizeof address, "%s:%04X", table.loopback, static_cast<unsigned>(port));
  return address;
}

std::optional<uid_t> ownerIn(const Table& table, int peer, int own) {
  // Other users may have connections elsewhere from the same port.
  const std::string wantedLocal = addressIn(table, peer), wantedRemote = addressIn(table, own);
  std::ifstream connections(table.path);
  for (std::string line; std::getline(connections, line);) {
    char local[64] = "", remote[64] = "";
    unsigned owner = 0;
    // number, local and remote address, state, queues, timer, retransmissions, user
    const int fields = std::sscanf(line.c_str(), " %*d: %63s %63s %*s %*s %*s %*s %u", local, remote, &owner);
    if (fields == 3 && wantedLocal == local && wantedRemote == remote) return owner;
  }
  return std::nullopt;
}

}  // namespace

std::optional<uid_t> ownerOfPeer(int peer, int own) {
  for (const Table& table : kTables) {
    if (const std::optional<uid_t> owner = ownerIn(table, peer, own)) return owner;
  }
  return std::nullopt;
}

}  // namespace quillmoria
