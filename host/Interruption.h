#pragma once

#include <atomic>
#include <thread>

#include "quillmoria/NewsServer.h"

namespace quillmoria {

/// Turns Ctrl-C (SIGINT, SIGTERM) into the end of the engine's pull at its next check, and says so, while it lives. A
/// second one ends the program at once, as it does outside. One at a time in a process.
class Interruption {
 public:
  /// `server` and `subscriber` must outlive the object.
  Interruption(NewsServer& server, RSSSubscriber& subscriber);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Whether a signal has come.
  bool happened() const;

 private:
  void stopPulls();

  NewsServer& server_;
  RSSSubscriber& subscriber_;
  std::atomic<bool> over_ = false;
  std::thread thread_;
};

}  // namespace quillmoria
