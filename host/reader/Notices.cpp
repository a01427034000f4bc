#include "reader/Notices.h"

#include <cstddef>
#include <numeric>
#include <utility>

namespace quillmoria {
namespace {

constexpr std::size_t kMaxNotices = 64;
constexpr std::size_t kMaxItems = 2'000'000;

std::size_t itemsIn(const std::deque<Notice>& notices) {
  return std::accumulate(notices.begin(), notices.end(), std::size_t{0},
                         [](std::size_t sum, const Notice& notice) { return sum + notice.ids.size(); });
}

}  // namespace

std::int64_t Notices::add(Notice notice) {
  const std::lock_guard lock(mutex_);
  last_.push_back(std::move(notice));
  while (last_.size() > kMaxNotices || (last_.size() > 1 && itemsIn(last_) > kMaxItems)) last_.pop_front();
  return ++lastNumber_;
}

std::optional<Notice> Notices::find(std::int64_t number) const {
  const std::lock_guard lock(mutex_);
  const std::int64_t first = lastNumber_ - static_cast<std::int64_t>(last_.size()) + 1;
  if (number < first || number > lastNumber_) return std::nullopt;
  return last_[static_cast<std::size_t>(number - first)];
}

}  // namespace quillmoria
