#include "modern/web/RateLimits.h"

#include <algorithm>
#include <charconv>

#include "modern/reading/Dates.h"

namespace quillmoria {
namespace {

constexpr std::int64_t kMinRest = 60;
constexpr std::int64_t kMaxRest = 24 * 60 * 60;
constexpr std::int64_t kRestWithoutATime = 10 * 60;
constexpr std::int32_t kTooManyRequests = 429;
constexpr std::size_t kMaxServers = 10'000;
constexpr std::size_t kMaxFieldBytes = 64;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Ten minutes, doubled with each refusal after the first.
std::int64_t restAfter(std::int32_t refusals) {
  constexpr std::int32_t kMaxDoublings = 8;
  return std::min(kRestWithoutATime << std::min(refusals - 1, kMaxDoublings), kMaxRest);
}

}  // namespace

std::optional<std::int64_t> restOf(std::string_view retryAfter, std::int64_t now) {
  if (retryAfter.empty() || retryAfter.size() > kMaxFieldBytes) return std::nullopt;
  if (std::ranges::all_of(retryAfter, isDigit)) {
    std::int64_t seconds = kMaxRest;
    std::from_chars(retryAfter.data(), retryAfter.data() + retryAfter.size(), seconds);  // beyond the type: a day
    return std::clamp(seconds, kMinRest, kMaxRest);
  }
  const bool hasMonth = std::ranges::any_of(retryAfter, [](char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; });
  const CTime date = hasMonth ? readDate(retryAfter) : CTime();
  if (date == CTime()) return std::nullopt;
  return std::clamp(date.GetTime() - now, kMinRest, kMaxRest);
}

std::int64_t RateLimits::until(const std::string& origin, std::int64_t now) const {
  const auto found = servers_.find(origin);
  return found != servers_.end() && found->second.until > now ? found->second.until : 0;
}

std::int64_t RateLimits::refused(const std::string& origin, std::int32_t status, std::string_view retryAfter,
                                 std::int64_t now, std::int64_t pull) {
  const std::optional<std::int64_t> rest = restOf(retryAfter, now);
  if (!rest && status != kTooManyRequests) return 0;
  Server& server = serverOf(origin);
  if (!rest && (server.refusals == 0 || server.pull != pull)) {
    ++server.refusals;
    server.pull = pull;
  }
  server.until = std::max(server.until, now + (rest ? *rest : restAfter(server.refusals)));
  server.change = ++changes_;
  return server.until;
}

void RateLimits::served(const std::string& origin) {
  const auto found = servers_.find(origin);
  if (found == servers_.end() || found->second.refusals == 0) return;
  found->second.refusals = 0;
  found->second.change = ++changes_;
}

/// The clock may have been put back since.
void RateLimits::takeOver(const RateLimit& limit, std::int64_t now) {
  const bool isKnown = servers_.contains(limit.origin);
  Server& server = serverOf(limit.origin);
  server.until = std::max(server.until, std::min(limit.until, now + kMaxRest));
  if (!isKnown) server.refusals = std::max(limit.refusals, 0);
}

std::vector<RateLimit> RateLimits::changedSince(std::int64_t& after) const {
  std::vector<RateLimit> changed;
  if (after == changes_) return changed;
  for (const auto& [origin, server] : servers_) {
    if (server.change > after) changed.push_back({origin, server.until, server.refusals});
  }
  after = changes_;
  return changed;
}

/// Where there are too many, the one that may be asked soonest is forgotten.
RateLimits::Server& RateLimits::serverOf(const std::string& origin) {
  const auto known = servers_.find(origin);
  if (known != servers_.end()) return known->second;
  if (servers_.size() >= kMaxServers) {
    servers_.erase(std::ranges::min_element(servers_, {}, [](const auto& entry) { return entry.second.until; }));
  }
  return servers_[origin];
}

}  // namespace quillmoria
