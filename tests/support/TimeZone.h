#pragma once

#include <time.h>

#include <optional>

#include "support/TemporaryFolder.h"

/// Makes `name` the process's time zone until the end of the scope.
class TimeZone {
 public:
  explicit TimeZone(const char* name) : variable_(std::in_place, "TZ", name) { tzset(); }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() {
    variable_.reset();
    tzset();
  }

 private:
  std::optional<EnvironmentVariable> variable_;
};
