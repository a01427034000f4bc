#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmoria {

/// The seconds for which `retryAfter`, the value of that header field, asks for a rest, between a minute and a day;
/// nothing if it cannot be read. `now` and all moments here are in seconds since 1970.
std::optional<std::int64_t> restOf(std::string_view retryAfter, std::int64_t now);

/// What a server has asked for.
struct RateLimit {
  std::string origin;         ///< as WebUrl::origin gives it
  std::int64_t until = 0;     ///< when it may be asked again
  std::int32_t refusals = 0;  ///< pulls in a row that were refused without a time
};

/// The servers (scheme, host and port, as WebUrl::origin gives them) that have asked for a rest. Holds 10,000 at most.
class RateLimits {
 public:
  /// Until when `origin` must not be asked; 0 if it may be.
  std::int64_t until(const std::string& origin, std::int64_t now) const;

  /// `origin` has answered 429 or 503, with `retryAfter`, during `pull`. Returns until when it must not be asked; 0 if
  /// it has asked for no rest.
  std::int64_t refused(const std::string& origin, std::int32_t status, std::string_view retryAfter, std::int64_t now,
                       std::int64_t pull);

  /// A feed was had from `origin`.
  void served(const std::string& origin);

  /// Adds what an earlier process was asked for.
  void takeOver(const RateLimit& limit, std::int64_t now);

  /// What has changed since the change with the number `after`; 0 is before all. Replaces `after` by the last one's.
  std::vector<RateLimit> changedSince(std::int64_t& after) const;

 private:
  struct Server {
    std::int64_t until = 0;
    std::int32_t refusals = 0;
    std::int64_t pull = 0;    ///< the last one that was refused without a time
    std::int64_t change = 0;  ///< the last one's number; 0: taken over as it is
  };

  Server& serverOf(const std::string& origin);

  std::map<std::string, Server> servers_;
  std::int64_t changes_ = 0;
};

}  // namespace quillmoria
