#include "platform/CInternetSession.h"

#include <idn2.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "platform/AfxParseURL.h"
#include "platform/curl/HttpRequest.h"
#include "platform/curl/SessionState.h"

namespace {

using quillmoria::Credentials;
using quillmoria::Destination;
using quillmoria::SessionOptions;
using quillmoria::SessionState;

constexpr std::pair<std::uint32_t, std::uint32_t SessionOptions::*> kOptions[] = {
    {INTERNET_OPTION_CONNECT_TIMEOUT, &SessionOptions::connectTimeout},
    {INTERNET_OPTION_CONNECT_RETRIES, &SessionOptions::connectAttempts},
    {INTERNET_OPTION_CONNECT_BACKOFF, &SessionOptions::connectBackoff},
    {INTERNET_OPTION_IDLE_TIMEOUT, &SessionOptions::idleTimeout},
    {INTERNET_OPTION_SLOW_PERIOD, &SessionOptions::slowPeriod},
    {INTERNET_OPTION_SLOW_BYTES, &SessionOptions::slowBytes},
    {INTERNET_OPTION_TRANSFER_TIMEOUT, &SessionOptions::transferTimeout},
    {INTERNET_OPTION_MAXIMUM_BODY, &SessionOptions::maximumBody},
    {INTERNET_OPTION_HTTP_DECODING, &SessionOptions::decoding},
    {INTERNET_OPTION_ENABLE_HTTP_PROTOCOL, &SessionOptions::protocols},
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

using MappedName = std::unique_ptr<char, decltype(&idn2_free)>;

/// Null if it does not map by these rules.
MappedName mapName(const std::string& name, int rules) {
  char* mapped = nullptr;
  const int error = idn2_to_ascii_8z(name.c_str(), &mapped, rules);
  MappedName owner(mapped, &idn2_free);
  if (error == IDN2_MALLOC) throw std::bad_alloc();
  return error == IDN2_OK ? std::move(owner) : MappedName(nullptr, &idn2_free);
}

/// The name under which the internet knows a host called `name` in UTF-8 (RFC 5891); empty if it knows none. Mapped
/// here, not by libcurl, since characters outside ASCII may become ones that no name may hold.
std::string asciiName(const std::string& name) {
  if (std::ranges::none_of(name, [](char c) { return static_cast<unsigned char>(c) > 127; })) return name;
  MappedName mapped = mapName(name, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
  if (!mapped) mapped = mapName(name, IDN2_TRANSITIONAL);
  return mapped && quillmoria::isHostName(mapped.get()) ? mapped.get() : "";
}

class HttpConnection : public CHttpConnection {
 public:
  HttpConnection(CInternetSession& session, SessionState& state, Destination destination)
      : session_(session), state_(state), destination_(std::move(destination)) {}

  std::unique_ptr<CHttpFile> OpenRequest(std::string_view verb, std::string_view objectPath,
                                         std::uint32_t flags) override {
    return std::make_unique<quillmoria::HttpRequest>(session_, state_, destination_, verb, objectPath, flags);
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
  std::string_view given;
  std::string name;
  if (quillmoria::splitServer(host, given, port)) name = asciiName(std::string(given));
  if (name.empty()) throw CInternetException("The server name is invalid");
  Credentials credentials{userName ? userName : "", password ? password : ""};
  return std::make_unique<HttpConnection>(*this, *state_, Destination{std::move(name), port, std::move(credentials)});
}

void CInternetSession::SetUpNetwork() { quillmoria::setUpNetwork(); }

void CInternetSession::CutOffTransfers() { quillmoria::cutOffTransfers(); }

void CInternetSession::ResumeTransfers() { quillmoria::resumeTransfers(); }

bool CInternetSession::AreTransfersCutOff() { return quillmoria::areTransfersCutOff(); }

void CInternetSession::SetShutDown(void (*shutDown)()) { quillmoria::setNetworkShutDown(shutDown); }

void CInternetSession::OnStatusCallback(std::uintptr_t, std::uint32_t, const void*, std::uint32_t) {}

void CInternetSession::ReportStatus(const CString&) {}
