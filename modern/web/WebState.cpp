#include "modern/web/WebState.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/CInternetSession.h"
#include "quillmoria/CTime.h"
#include "quillmoria/Version.h"

namespace quillmoria {
namespace {

/// Base folders that have a session at a time. A host has one, or few.
constexpr std::size_t kMaxSessions = 8;

constexpr std::pair<std::uint32_t, std::uint32_t> kSessionOptions[] = {
    {INTERNET_OPTION_HTTP_DECODING, 1},
    {INTERNET_OPTION_ENABLE_HTTP_PROTOCOL, HTTP_PROTOCOL_FLAG_HTTP2},
};

}  // namespace

constinit ModuleObject<WebState> webState;

std::int64_t WebState::beginPull() {
  using std::chrono::nanoseconds;
  const nanoseconds now = std::chrono::duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch());
  const MutexLock lock(mutex_);
  return lastPull_ = std::max<std::int64_t>(now.count(), lastPull_ + 1);
}

std::shared_ptr<const SharedSession> WebState::session(const std::string& baseFolder) {
  const MutexLock settingUp(setUpMutex_);
  const auto known = sessions_.find(baseFolder);
  if (known != sessions_.end()) return known->second;
  const std::string agent = std::string("Quillmoria/") + kVersion;
  const std::shared_ptr<SharedSession> made = makeSession(agent.c_str(), baseFolder);
  for (const auto& [option, value] : kSessionOptions) made->session->SetOption(option, value);
  if (sessions_.size() >= kMaxSessions) sessions_.erase(sessions_.begin());
  sessions_.emplace(baseFolder, made);
  return made;
}

std::int64_t WebState::limitOf(const std::string& origin) const {
  const MutexLock lock(mutex_);
  return limits_.until(origin, CTime::GetCurrentTime().GetTime());
}

std::int64_t WebState::noteRefusal(const std::string& origin, std::int32_t status, std::string_view retryAfter,
                                   std::int64_t pull) {
  const MutexLock lock(mutex_);
  return limits_.refused(origin, status, retryAfter, CTime::GetCurrentTime().GetTime(), pull);
}

void WebState::noteFeedFrom(const std::string& origin) {
  const MutexLock lock(mutex_);
  limits_.served(origin);
}

void WebState::takeOverLimits(const std::vector<RateLimit>& limits) {
  const std::int64_t now = CTime::GetCurrentTime().GetTime();
  const MutexLock lock(mutex_);
  for (const RateLimit& limit : limits) limits_.takeOver(limit, now);
}

std::vector<RateLimit> WebState::limitsChangedSince(std::int64_t& after) const {
  const MutexLock lock(mutex_);
  return limits_.changedSince(after);
}

void WebState::close() {
  std::map<std::string, std::shared_ptr<const SharedSession>> last;
  {
    const MutexLock lock(setUpMutex_);
    last.swap(sessions_);
  }
  const MutexLock lock(mutex_);
  limits_ = RateLimits();
}

}  // namespace quillmoria
