#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "modern/archive/Database.h"

namespace quillmoria {

/// Makes the rests that servers have asked for in earlier processes those of this one: see RateLimits.
void takeOverLimits(Database& archive);

/// Keeps those that have changed since the change with the number `after`, and replaces that by the last one's. Within
/// a transaction.
void keepLimits(Database& archive, std::int64_t& after);

/// The rests of the archive of a base folder for a fetch outside of pulls: taken over at first, kept at its end. Where
/// there is no archive, none is made; one that cannot be had changes nothing. Throws std::bad_alloc.
class SharedLimits {
 public:
  explicit SharedLimits(const std::string& baseFolder);
  SharedLimits(const SharedLimits&) = delete;
  SharedLimits& operator=(const SharedLimits&) = delete;
  ~SharedLimits();

 private:
  std::optional<Database> archive_;
  std::int64_t kept_ = 0;
};

}  // namespace quillmoria
