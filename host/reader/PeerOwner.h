#pragma once

#include <sys/types.h>

#include <optional>

namespace quillmoria {

/// The user whose process holds the other end of a connection from 127.0.0.1 and `port`, the administrator (0) for one
/// that it has closed; nothing where the system does not tell. Takes time in proportion to the connections of the
/// machine.
std::optional<uid_t> ownerOfPeer(int port);

}  // namespace quillmoria
