#include "net/FetchSession.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace {

constexpr std::uintptr_t kContext = 1;

struct StatusText {
  std::uint32_t status;
  std::string_view text;  ///< empty: nothing is reported
  bool endsInInformation = false;
};

constexpr StatusText kStatusTexts[] = {
    {INTERNET_STATUS_RESOLVING_NAME, "Resolving name ", true},
    {INTERNET_STATUS_NAME_RESOLVED, "Name resolved ", true},
    {INTERNET_STATUS_CONNECTING_TO_SERVER, "Connecting to socket address"},
    {INTERNET_STATUS_CONNECTED_TO_SERVER, "Connected to socket address"},
    {INTERNET_STATUS_SENDING_REQUEST, "Sending request"},
    {INTERNET_STATUS_REQUEST_SENT, "Request sent"},
    {INTERNET_STATUS_RECEIVING_RESPONSE, ""},
    {INTERNET_STATUS_RESPONSE_RECEIVED, "Response received"},
    {INTERNET_STATUS_CLOSING_CONNECTION, "Closing the connection to the server"},
    {INTERNET_STATUS_CONNECTION_CLOSED, "Connection to the server closed"},
    {INTERNET_STATUS_HANDLE_CREATED, "Handle created"},
    {INTERNET_STATUS_HANDLE_CLOSING, ""},
    {INTERNET_STATUS_REQUEST_COMPLETE, "Request complete"},
    {INTERNET_STATUS_REDIRECT, "Being redirected"},
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
