#pragma once

#include "quillmoria/export.h"

/// Whether the engine takes the machine for online.
enum class ConnectedState {
  Automatic,     ///< ask the environment (QUILLMORIA_OFFLINE=1 or 0), else the network interfaces
  Connected,     ///< online, whatever the system says
  Disconnected,  ///< offline: feeds come from the cache and nothing is fetched ("work offline")
};

/// The host's word on the connected state. It holds for the whole process, until the next call, and is looked at when a
/// pull is requested and before an image is downloaded. Starts as Automatic, which takes the machine for offline when
/// no interface but loopback is up, running and has an address. Any thread.
QUILLMORIA_EXPORT void SetConnectedState(ConnectedState state);
