#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include "platform/curl/SessionState.h"

namespace quillmoria {

/// How long a server may take, by the session's options: for the whole transfer, without a byte, and at too low a rate.
class TransferDeadlines {
 public:
  using Clock = std::chrono::steady_clock;

  /// The transfer begins. `options` must outlive this.
  explicit TransferDeadlines(const SessionOptions& options);

  /// From here on the server may be silent for the idle time. Before, the connection has a time-out of its own.
  void connected();

  /// Whoever reads waits again. The time that went by since the connection did something is not the server's.
  void readerWaits();

  /// The connection has done something, if only below what is counted as bytes.
  void active();

  /// That many bytes have come. The rate counts from the first ones on.
  void received(std::size_t count);

  /// Throws CInternetException once the server has taken too long.
  void check();

  /// When check is to be called next.
  Clock::time_point next() const;

 private:
  Clock::time_point transferEnd() const;
  Clock::time_point idleEnd() const;
  Clock::time_point periodEnd() const;

  const SessionOptions& options_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point lastActivity_ = start_;
  bool isConnected_ = false;
  std::optional<Clock::time_point> periodStart_;  ///< of the period over which the rate is taken; none before a byte
  std::size_t periodBytes_ = 0;
};

}  // namespace quillmoria
