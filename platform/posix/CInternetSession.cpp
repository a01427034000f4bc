#include "platform/CInternetSession.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/AfxParseURL.h"
#include "platform/posix/HttpRequest.h"
#include "platform/posix/SessionState.h"

namespace {

using quillmoria::Credentials;
using quillmoria::Destination;
using quillmoria::SessionOptions;
using quillmoria::SessionState;

constexpr std::pair<std::uint32_t, std::uint32_t SessionOptions::*> kOptions[] = {
    {INTERNET_OPTION_CONNECT_TIMEOUT, &SessionOptions::connectTimeout},
    {INTERNET_OPTION_CONNECT_RETRIES, &SessionOptions::connectRetries},
    {INTERNET_OPTION_CONNECT_BACKOFF, &SessionOptions::connectBackoff},
    {INTERNET_OPTION_IDLE_TIMEOUT, &SessionOptions::idleTimeout},
    {INTERNET_OPTION_SLOW_PERIOD, &SessionOptions::slowPeriod},
    {INTERNET_OPTION_SLOW_BYTES, &SessionOptions::slowBytes},
    {INTERNET_OPTION_TRANSFER_TIMEOUT, &SessionOptions::transferTimeout},
    {INTERNET_OPTION_MAXIMUM_BODY, &SessionOptions::maximumBody},
};

/// The proxy that the list `name` ("http=… https=…", or one for all) has for `scheme`; empty: none.
std::string proxyInList(std::string_view name, std::string_view scheme) {
  if (!name.starts_with("http=") && !name.starts_with("https=")) return std::string(name);
  while (!name.empty()) {
    const std::string_view one = name.substr(0, name.find(' '));
    name.remove_prefix(std::min(one.size() + 1, name.size()));
    if (one.starts_with(scheme) && one.substr(scheme.size()).starts_with('=')) {
      return std::string(one.substr(scheme.size() + 1));
    }
  }
  return "";
}

std::string proxyFor(std::int32_t accessType, const std::string& name, std::string_view scheme) {
  if (accessType == INTERNET_OPEN_TYPE_PROXY) return name;
  return accessType == INTERNET_OPEN_TYPE_PRECONFIG ? proxyInList(name, scheme) : "";
}

class HttpConnection : public CHttpConnection {
 public:
  HttpConnection(CInternetSession& session, SessionState& state, Destination destination)
      : session_(session), state_(state), destination_(std::move(destination)) {}

  std::unique_ptr<CHttpFile> OpenRequest(std::string_view verb, std::string_view objectPath,
                                         std::uint32_t flags) override {
    return std::make_unique<quillmoria::HttpRequest>(session_, state_, destination_, verb, objectPath,
                                                     (flags & INTERNET_FLAG_SECURE) != 0);
  }

 private:
  CInternetSession& session_;
  SessionState& state_;
  Destination destination_;
};

std::string valueOf(const char* environmentVariable) {
  const char* const value = std::getenv(environmentVariable);
  return value ? value : "";
}

}  // namespace

CHttpFile::~CHttpFile() = default;
CHttpConnection::~CHttpConnection() = default;

CInternetSession::CInternetSession(std::string agent, std::uintptr_t context, std::int32_t accessType,
                                   std::string proxyName, std::string proxyBypass)
    : state_(new SessionState{std::move(agent), context, proxyFor(accessType, proxyName, "http"),
                              proxyFor(accessType, proxyName, "https"), std::move(proxyBypass),
                              valueOf("SSL_CERT_FILE")}) {}

CInternetSession::~CInternetSession() = default;

void CInternetSession::SetOption(std::uint32_t option, std::uint32_t value) {
  for (const auto& [known, member] : kOptions) {
    if (known == option) state_->options.*member = value;
  }
}

void CInternetSession::EnableStatusCallback(bool enable) { state_->notifies = enable; }

std::unique_ptr<CHttpConnection> CInternetSession::GetHttpConnection(std::string_view host, std::uint16_t port,
                                                                     const char* userName, const char* password) {
  std::string_view name;
  if (!quillmoria::splitServer(host, name, port)) throw CInternetException("The server name is invalid");
  Credentials credentials{userName ? userName : "", password ? password : ""};
  return std::make_unique<HttpConnection>(*this, *state_, Destination{std::string(name), port, std::move(credentials)});
}

void CInternetSession::SetUpNetwork() { quillmoria::setUpNetwork(); }

void CInternetSession::CutOffTransfers() { quillmoria::cutOffTransfers(); }

void CInternetSession::ResumeTransfers() { quillmoria::resumeTransfers(); }

bool CInternetSession::AreTransfersCutOff() { return quillmoria::areTransfersCutOff(); }

void CInternetSession::SetShutDown(void (*shutDown)()) { quillmoria::setNetworkShutDown(shutDown); }

void CInternetSession::OnStatusCallback(std::uintptr_t, std::uint32_t, const void*, std::uint32_t) {}

void CInternetSession::ReportStatus(const CString&) {}
