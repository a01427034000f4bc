#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/curl/ChannelPool.h"

namespace quillmoria {

/// Times in milliseconds; see the INTERNET_OPTION values.
struct SessionOptions {
  std::uint32_t connectTimeout = 60'000;
  std::uint32_t connectAttempts = 5;
  std::uint32_t connectBackoff = 5'000;
  std::uint32_t idleTimeout = 30'000;
  std::uint32_t slowPeriod = 60'000;
  std::uint32_t slowBytes = 1'024;
  std::uint32_t transferTimeout = 600'000;
  std::uint32_t maximumBody = 64 << 20;
  std::uint32_t decoding = 0;
  std::uint32_t protocols = 0;
};

/// What the requests of one session share.
struct SessionState {
  const std::string agent;
  const std::uintptr_t context;
  const std::string proxyForHttp;   ///< empty: none
  const std::string proxyForHttps;  ///< empty: none
  const std::string proxyBypass;
  const std::string certificates;  ///< a file that replaces the system's authorities, or empty
  SessionOptions options{};
  std::atomic<bool> notifies = false;
  ChannelPool pool{};
};

}  // namespace quillmoria
