#include "modern/archive/HostLimits.h"

#include <exception>
#include <vector>

#include "modern/archive/Schema.h"
#include "modern/web/RateLimits.h"
#include "modern/web/WebState.h"
#include "quillmoria/CTime.h"

namespace quillmoria {
namespace {

/// More than a process remembers are not taken over, whoever has written them.
constexpr std::int64_t kMaxLimits = 10'000;

bool saysNothing(const RateLimit& limit, std::int64_t now) { return limit.refusals == 0 && limit.until <= now; }

}  // namespace

void takeOverLimits(Database& archive) {
  std::vector<RateLimit> limits;
  for (Rows rows = archive.rows("SELECT origin, not_before, refusals FROM hosts LIMIT ?", kMaxLimits); rows.next();) {
    limits.push_back({std::string(rows.text(0)), rows.integer(1), static_cast<std::int32_t>(rows.integer(2))});
  }
  webState->takeOverLimits(limits);
}

void keepLimits(Database& archive, std::int64_t& after) {
  const std::int64_t now = CTime::GetCurrentTime().GetTime();
  for (const RateLimit& limit : webState->limitsChangedSince(after)) {
    if (saysNothing(limit, now)) {
      archive.run("DELETE FROM hosts WHERE origin = ?", limit.origin);
    } else {
      archive.run("INSERT OR REPLACE INTO hosts(origin, not_before, refusals) VALUES(?, ?, ?)", limit.origin,
                  limit.until, std::int64_t{limit.refusals});
    }
  }
}

SharedLimits::SharedLimits(const std::string& baseFolder) {
  try {
    if (!hasArchive(baseFolder)) return;
    archive_.emplace(openArchive(baseFolder));
    takeOverLimits(*archive_);
    webState->limitsChangedSince(kept_);
  } catch (const ArchiveError&) {
    archive_.reset();
  }
}

SharedLimits::~SharedLimits() {
  if (!archive_) return;
  try {
    std::int64_t kept = kept_;
    if (webState->limitsChangedSince(kept).empty()) return;
    Transaction transaction(*archive_);
    keepLimits(*archive_, kept_);
    transaction.commit();
  } catch (const std::exception&) {
    // The process remembers them all the same.
  }
}

}  // namespace quillmoria
