#include "reader/EventStream.h"

#include <algorithm>
#include <cstddef>

namespace quillmoria {
namespace {

constexpr std::size_t kMaxEvents = 1000;

}  // namespace

void EventStream::send(std::string_view name, std::string_view json) {
  {
    const std::lock_guard lock(mutex_);
    last_.push_back(asServerSentEvent(name, json));
    if (last_.size() > kMaxEvents) last_.pop_front();
    ++end_;
  }
  changed_.notify_all();
}

std::uint64_t EventStream::end() const {
  const std::lock_guard lock(mutex_);
  return end_;
}

std::optional<std::string> EventStream::wait(std::uint64_t& place, std::chrono::milliseconds patience) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return isClosed_ || end_ > place; });
  if (isClosed_) return std::nullopt;
  std::string text;
  const auto missing = static_cast<std::size_t>(std::min<std::uint64_t>(end_ - place, last_.size()));
  for (std::size_t i = last_.size() - missing; i < last_.size(); ++i) text += last_[i];
  place = end_;
  return text;
}

void EventStream::close() {
  {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
  }
  changed_.notify_all();
}

std::string asServerSentEvent(std::string_view name, std::string_view json) {
  return std::string("event: ").append(name).append("\ndata: ").append(json).append("\n\n");
}

}  // namespace quillmoria
