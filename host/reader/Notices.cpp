#include "reader/Notices.h"

#include <cstddef>
#include <utility>

namespace quillmoria {
namespace {

constexpr std::size_t kMaxNotices = 64;

}  // namespace

std::int64_t Notices::add(Notice notice) {
  const std::lock_guard lock(mutex_);
  last_.push_back(std::move(notice));
  if (last_.size() > kMaxNotices) last_.pop_front();
  return ++lastNumber_;
}

std::optional<Notice> Notices::find(std::int64_t number) const {
  const std::lock_guard lock(mutex_);
  const std::int64_t first = lastNumber_ - static_cast<std::int64_t>(last_.size()) + 1;
  if (number < first || number > lastNumber_) return std::nullopt;
  return last_[static_cast<std::size_t>(number - first)];
}

}  // namespace quillmoria
