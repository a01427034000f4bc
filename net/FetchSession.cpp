#include "net/FetchSession.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace {

constexpr std::uintptr_t kContext = 1;

struct StatusText {
  std::string_view text;  ///< empty: nothing is reported
  std::uint32_t status;
  bool endsInInformation = false;
};

// Compatibility.
constexpr StatusText kStatusTexts[] = {
    {"Resolving name ", INTERNET_STATUS_RESOLVING_NAME, true},
    {"Name resolved ", INTERNET_STATUS_NAME_RESOLVED, true},
    {"Connecting to socket address", INTERNET_STATUS_CONNECTING_TO_SERVER},
    {"Connected to socket address", INTERNET_STATUS_CONNECTED_TO_SERVER},
    {"Sending request", INTERNET_STATUS_SENDING_REQUEST},
    {"Request sent", INTERNET_STATUS_REQUEST_SENT},
    {"", INTERNET_STATUS_RECEIVING_RESPONSE},
    {"Response received", INTERNET_STATUS_RESPONSE_RECEIVED},
    {"Closing the connection to the server", INTERNET_STATUS_CLOSING_CONNECTION},
    {"Connection to the server closed", INTERNET_STATUS_CONNECTION_CLOSED},
    {"Handle created", INTERNET_STATUS_HANDLE_CREATED},
    {"", INTERNET_STATUS_HANDLE_CLOSING},
    {"Request complete", INTERNET_STATUS_REQUEST_COMPLETE},
    {"Being redirected", INTERNET_STATUS_REDIRECT},
};

}  // namespace

FetchSession::FetchSession(std::string agent, std::int32_t accessType, std::string proxyName, std::string proxyBypass)
    : CInternetSession(std::move(agent), kContext, accessType, std::move(proxyName), std::move(proxyBypass)) {}

FetchSession::~FetchSession() = default;

void FetchSession::OnStatusCallback(std::uintptr_t, std::uint32_t status, const void* information,
                                    std::uint32_t informationLength) {
  const auto known = std::ranges::find(kStatusTexts, status, &StatusText::status);
  if (known == std::end(kStatusTexts)) {
    ReportStatus("Unknown status: " + std::to_string(static_cast<std::int32_t>(status)));
    return;
  }
  if (known->text.empty()) return;

  CString text(known->text);
  if (known->endsInInformation && information) text.append(static_cast<const char*>(information), informationLength);
  ReportStatus(text);
}
