#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/TemporaryFolder.h"

// What the fuzz targets share. Each defines LLVMFuzzerTestOneInput, which takes any bytes; a fault is a crash, a
// sanitizer's report, or a call of `require` that does not hold.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void require(bool holds) {
  if (!holds) std::abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// One for the whole run.
inline const TemporaryBaseFolder& baseFolder() {
  static const TemporaryBaseFolder folder;
  return folder;
}
