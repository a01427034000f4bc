#pragma once

#include <cstdint>
#include <string>

struct sockaddr;

namespace quillmoria {

/// A socket of the system, or kNoSocket.
using Socket = int;
inline constexpr Socket kNoSocket = -1;

/// A new socket, which no other program inherits; kNoSocket if there is none to be had. Family, type and protocol are
/// the system's numbers.
Socket openSocket(int family, int type, int protocol);

/// Closes what openSocket has given. 0 if that went well.
int closeSocket(Socket socket);

/// Whether bytes, or the end of the connection, wait to be read. False for kNoSocket. Returns at once.
bool hasInput(Socket socket);

/// The numeric form of `address`, which is `size` bytes long; empty if it has none.
std::string textOf(const sockaddr& address, std::uint32_t size);

}  // namespace quillmoria
