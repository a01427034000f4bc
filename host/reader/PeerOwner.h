#pragma once

#include <sys/types.h>

#include <optional>

namespace quillmoria {

/// The user whose process holds the end at port `peer` of a connection on 127.0.0.1 to port `own`, the administrator
/// (0) for one that it has closed; nothing where the system does not tell. Takes time in proportion to the connections
/// of the machine.
std::optional<uid_t> ownerOfPeer(int peer, int own);

}  // namespace quillmoria
