#pragma once

namespace quillmoria {

/// A call of the engine that fetches, on whatever thread. While there is one the library stays mapped, so that a host
/// may let go of it meanwhile; it stays mapped further until releaseModule, since the calling thread has yet to leave.
class FetchCall {
 public:
  FetchCall();
  FetchCall(const FetchCall&) = delete;
  FetchCall& operator=(const FetchCall&) = delete;
  ~FetchCall();

  /// Lets go of what calls that have ended still keep. For calls of the host that do not come from within a fetch: the
  /// host holds the library itself then.
  static void releaseModule();
};

}  // namespace quillmoria
