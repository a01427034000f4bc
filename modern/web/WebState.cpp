#include "modern/web/WebState.h"

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

std::size_t bytesOf(const Validators& validators) {
  return validators.url.size() + validators.entityTag.size() + validators.lastModified.size();
}

}  // namespace

constinit ModuleObject<WebState> webState;

std::uint64_t WebState::beginPull() {
  const MutexLock lock(mutex_);
  return ++pulls_;
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
                                   std::uint64_t pull) {
  const MutexLock lock(mutex_);
  return limits_.refused(origin, status, retryAfter, CTime::GetCurrentTime().GetTime(), pull);
}

void WebState::noteFeedFrom(const std::string& origin) {
  const MutexLock lock(mutex_);
  limits_.served(origin, CTime::GetCurrentTime().GetTime());
}

std::optional<FeedFacts> WebState::feed(const std::string& key) {
  const MutexLock lock(mutex_);
  return feeds_.find(key);
}

void WebState::keepFeed(const std::string& key, FeedFacts facts) {
  const std::size_t bytes = bytesOf(facts.validators) + facts.movedTo.size() + facts.feedName.size() +
                            facts.bodyHash.size() + facts.format.size();
  const MutexLock lock(mutex_);
  feeds_.keep(key, std::move(facts), bytes);
}

std::optional<PictureFacts> WebState::picture(const std::string& path) {
  const MutexLock lock(mutex_);
  return pictures_.find(path);
}

void WebState::keepPicture(const std::string& path, PictureFacts facts) {
  const std::size_t bytes = bytesOf(facts.validators);
  const MutexLock lock(mutex_);
  pictures_.keep(path, std::move(facts), bytes);
}

void WebState::close() {
  std::map<std::string, std::shared_ptr<const SharedSession>> last;
  {
    const MutexLock lock(setUpMutex_);
    last.swap(sessions_);
  }
  const MutexLock lock(mutex_);
  limits_ = RateLimits();
  feeds_.clear();
  pictures_.clear();
}

}  // namespace quillmoria
