#pragma once

#include <cstdint>
#include <string>

#include "platform/CInternetSession.h"

/// The internet session that all requests of the process share; puts its status notices into words.
class FetchSession : public CInternetSession {
 public:
  /// See CInternetSession.
  FetchSession(std::string agent, std::int32_t accessType, std::string proxyName, std::string proxyBypass);
  ~FetchSession() override;

  /// Passes the text of `status` to ReportStatus; some have none.
  void OnStatusCallback(std::uintptr_t context, std::uint32_t status, const void* information,
                        std::uint32_t informationLength) override;
};
