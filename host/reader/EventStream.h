#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

/// What pages that are open are told, as server-sent events (the text/event-stream format of the HTML standard).
///
///     std::uint64_t place = stream.end();
///     while (const auto text = stream.wait(place, 15s)) send(*text);
///
/// Any thread. Listeners that are slow miss what is older than the last thousand events.
class EventStream {
 public:
  /// Sends the event `name` with `json`, one line, to all that listen.
  void send(std::string_view name, std::string_view json);

  /// The place behind the last event.
  std::uint64_t end() const;

  /// What has been sent since `place`, which moves on; empty if nothing is within `patience`. Nothing once the stream
  /// is closed.
  std::optional<std::string> wait(std::uint64_t& place, std::chrono::milliseconds patience) const;

  /// Ends it for all that listen.
  void close();

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::deque<std::string> last_;
  std::uint64_t end_ = 0;
  bool isClosed_ = false;
};

/// An event in the form in which it is sent.
std::string asServerSentEvent(std::string_view name, std::string_view json);

}  // namespace quillmoria
