#include "platform/curl/HttpRequest.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <iterator>
#include <utility>

#include "platform/Socket.h"
#include "platform/Text.h"
#include "platform/curl/ProxyAddress.h"

namespace quillmoria {
namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t kMaxTargetBytes = std::size_t{1} << 20;  // libcurl sends no more
constexpr int kDrainSteps = 4;
constexpr std::uint32_t kTentativeTimeoutMs = 10'000;
constexpr std::size_t kMaxCodings = 2;
constexpr long kSwitchingProtocols = 101;
constexpr long kUnauthorized = 401;
constexpr long kProxyAuthenticationRequired = 407;

/// What a request target is made of; '%' as well, so that what is encoded already stays as it is.
constexpr std::string_view kTargetBytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?[]@!$&'()*+,;=%";

/// `target` with a leading "/" and with all bytes encoded that no request line may hold. Throws CInternetException for
/// one that is too long.
std::string encodeTarget(std::string_view target) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  if (target.size() > kMaxTargetBytes) throw CInternetException("The address is too long");
  std::string encoded;
  if (!target.starts_with('/')) encoded = "/";
  for (const char c : target) {
    if (kTargetBytes.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return encoded;
}

[[noreturn]] void throwTooLargeBody() { throw CInternetException("The body is too large", ERROR_FILE_TOO_LARGE); }

constexpr std::pair<CURLcode, std::uint32_t> kErrors[] = {
    {CURLE_OUT_OF_MEMORY, ERROR_NOT_ENOUGH_MEMORY},
    {CURLE_COULDNT_CONNECT, ERROR_INTERNET_CANNOT_CONNECT},
    {CURLE_BAD_CONTENT_ENCODING, ERROR_INTERNET_DECODING_FAILED},
    {CURLE_UNSUPPORTED_PROTOCOL, ERROR_HTTP_INVALID_SERVER_RESPONSE},
    {CURLE_WEIRD_SERVER_REPLY, ERROR_HTTP_INVALID_SERVER_RESPONSE},
    {CURLE_PEER_FAILED_VERIFICATION, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_CONNECT_ERROR, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_CERTPROBLEM, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_CIPHER, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_CACERT_BADFILE, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_ISSUER_ERROR, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_CRL_BADFILE, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_INVALIDCERTSTATUS, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_SSL_PINNEDPUBKEYNOTMATCH, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
};

}  // namespace

void HeaderList::append(const std::string& line) {
  curl_slist* const longer = curl_slist_append(first_.get(), line.c_str());
  if (!longer) throw CInternetException("Out of memory", ERROR_NOT_ENOUGH_MEMORY);
  static_cast<void>(first_.release());
  first_.reset(longer);
}

bool HeaderList::hasName(std::string_view name) const {
  const std::string wanted = lowerAscii(name);
  for (const curl_slist* line = first_.get(); line; line = line->next) {
    if (lowerAscii(nameOf(line->data)) == wanted) return true;
  }
  return false;
}

HttpRequest::HttpRequest(CInternetSession& session, SessionState& state, Destination destination, std::string_view verb,
                         std::string_view objectPath, std::uint32_t flags)
    : session_(session),
      state_(state),
      destination_(std::move(destination)),
      verb_(verb),
      isSecure_((flags & INTERNET_FLAG_SECURE) != 0),
      isTentative_(isSecure_ && (flags & INTERNET_FLAG_TENTATIVE) != 0),
      decodes_(state.options.decoding != 0 && (flags & INTERNET_FLAG_RAW_DATA) == 0),
      server_((isSecure_ ? "https://" : "http://") + destination_.host + ":" + std::to_string(destination_.port)),
      target_(encodeTarget(objectPath)) {
  notify(INTERNET_STATUS_HANDLE_CREATED);
}

void HttpRequest::AddRequestHeaders(std::string_view lines, std::uint32_t flags) {
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size() - 1) + 1;
    const std::string_view line = withoutLineEnd(lines.substr(0, end));
    lines.remove_prefix(end);
    if (flags & HTTP_ADDREQ_FLAG_ADD_IF_NEW && headers_.hasName(nameOf(line))) continue;
    headers_.append(std::string(line));
  }
}

void HttpRequest::SetOption(std::uint32_t option, std::string_view value) {
  if (option == INTERNET_OPTION_PROXY_USERNAME) proxyCredentials_.userName = value;
  if (option == INTERNET_OPTION_PROXY_PASSWORD) proxyCredentials_.password = value;
}

void HttpRequest::SendRequest() {
  const Libcurl::Stay stay = libcurl.enterOrThrow();
  channel_ = state_.pool.acquire(server_, this);
  configure();
  deadlines_.emplace(options());
  for (std::uint32_t attempt = 1;; ++attempt) {
    begin();
    driveUntil([this] { return status_ != 0; });
    if (attempt >= options().connectAttempts || !isWithoutConnection()) break;
    curl_multi_remove_handle(channel_->multi(), channel_->easy());
    waitBeforeNextAttempt();
  }
  if (status_ == 0) checkEnd();
}

std::size_t HttpRequest::Read(void* buffer, std::size_t count) {
  if (!fill()) return 0;
  const std::size_t taken = unread().copy(static_cast<char*>(buffer), count);
  taken_ += taken;
  return taken;
}

bool HttpRequest::ReadString(CString& text) {
  const std::size_t before = text.size();
  bool isLine = false;
  try {
    while (fill()) {
      isLine = true;
      const std::string_view bytes = unread();
      const std::size_t lineFeed = bytes.find('\n');
      text.append(bytes.substr(0, lineFeed));
      taken_ += std::min(lineFeed, bytes.size() - 1) + 1;
      if (lineFeed != std::string_view::npos) break;
    }
  } catch (...) {
    text.resize(before);
    throw;
  }
  return isLine;
}

std::size_t HttpRequest::QueryInfoContentLength() const {
  return static_cast<std::size_t>(std::clamp<curl_off_t>(statedLength(), 0, options().maximumBody));
}

void HttpRequest::Close() {
  if (std::exchange(isClosed_, true)) return;
  if (channel_) endTransfer();
  guarded([this] { notify(INTERNET_STATUS_HANDLE_CLOSING); });
}

/// Once libcurl has been left for good the channel stays as it is.
void HttpRequest::endTransfer() noexcept {
  const Libcurl::Stay stay = libcurl.enter();
  if (!stay) return;
  try {
    // The rest of a short body is mostly there already, and then the connection can be kept.
    for (int step = 0; step < kDrainSteps && status_ != 0 && !result_; ++step) perform();
  } catch (...) {
    // Nobody is left who would want to know.
  }
  curl_easy_getinfo(channel_->easy(), CURLINFO_ACTIVESOCKET, &channel_->keptSocket);
  curl_multi_remove_handle(channel_->multi(), channel_->easy());
  state_.pool.release(std::exchange(channel_, nullptr), result_ == CURLE_OK);
}

template <class Value>
void HttpRequest::set(CURLoption option, Value value) {
  if (const CURLcode error = curl_easy_setopt(channel_->easy(), option, value)) {
    throw CInternetException(curl_easy_strerror(error));
  }
}

void HttpRequest::configure() {
  channel_->renewEasy();
  set(CURLOPT_ERRORBUFFER, errorText_);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  const bool mayBeHttp2 = (options().protocols & HTTP_PROTOCOL_FLAG_HTTP2) != 0;
  set(CURLOPT_HTTP_VERSION, long{mayBeHttp2 ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1});
  if (decodes_) set(CURLOPT_ACCEPT_ENCODING, "");  // all that libcurl knows
  set(CURLOPT_PATH_AS_IS, 1L);
  // Whoever sent a request on a connection that holds bytes already would take them for the response.
  set(CURLOPT_FRESH_CONNECT, long{hasInput(channel_->keptSocket)});
  set(CURLOPT_QUICK_EXIT, 1L);  // a name look-up that takes too long is left behind, not waited for
  const std::uint32_t most = isTentative_ ? kTentativeTimeoutMs : UINT32_MAX;
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::min(options().connectTimeout, most)));
  set(CURLOPT_URL, (server_ + target_).c_str());
  set(CURLOPT_CUSTOMREQUEST, verb_.c_str());
  set(CURLOPT_USERAGENT, state_.agent.c_str());
  set(CURLOPT_HTTPHEADER, headers_.get());
  set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
  if (destination_.credentials.canAnswer()) {
    set(CURLOPT_USERNAME, destination_.credentials.userName.c_str());
    set(CURLOPT_PASSWORD, destination_.credentials.password.c_str());
  }
  if (!state_.certificates.empty()) {
    set(CURLOPT_CAINFO, state_.certificates.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  configureProxy();
  configureCallbacks();
}

void HttpRequest::configureProxy() {
  ProxyAddress proxy = parseProxyAddress(isSecure_ ? state_.proxyForHttps : state_.proxyForHttp);
  if (!proxy.credentials.userName.empty()) proxyCredentials_ = std::move(proxy.credentials);
  // An empty text is no proxy, whatever the environment says.
  set(CURLOPT_PROXY, proxy.address.c_str());
  set(CURLOPT_NOPROXY, state_.proxyBypass.c_str());
  set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
  if (proxyCredentials_.canAnswer()) {
    set(CURLOPT_PROXYUSERNAME, proxyCredentials_.userName.c_str());
    set(CURLOPT_PROXYPASSWORD, proxyCredentials_.password.c_str());
  }
  proxyHeaders_.append("Proxy-Connection:");  // keeps libcurl from adding one
  set(CURLOPT_PROXYHEADER, proxyHeaders_.get());
}

void HttpRequest::configureCallbacks() {
  set(CURLOPT_RESOLVER_START_FUNCTION, &onResolve);
  set(CURLOPT_RESOLVER_START_DATA, this);
  set(CURLOPT_OPENSOCKETFUNCTION, &onOpen);
  set(CURLOPT_OPENSOCKETDATA, this);
  set(CURLOPT_CLOSESOCKETFUNCTION, &onClose);
  set(CURLOPT_CLOSESOCKETDATA, channel_);  // a connection outlives the request that opened it
  set(CURLOPT_PREREQFUNCTION, &onConnected);
  set(CURLOPT_PREREQDATA, this);
  set(CURLOPT_HEADERFUNCTION, &onHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &onBody);
  set(CURLOPT_WRITEDATA, this);
  if (!isTentative_) return;
  set(CURLOPT_DEBUGFUNCTION, &onTlsBytes);
  set(CURLOPT_DEBUGDATA, this);
  set(CURLOPT_VERBOSE, 1L);
}

void HttpRequest::begin() {
  result_.reset();
  if (const CURLMcode error = curl_multi_add_handle(channel_->multi(), channel_->easy())) {
    throw CInternetException(curl_multi_strerror(error));
  }
}

bool HttpRequest::isWithoutConnection() const {
  if (result_ == CURLE_COULDNT_CONNECT) return true;
  // The connect time would not do: it is taken once a handshake or a tunnel is through.
  long localPort = 0;
  curl_easy_getinfo(channel_->easy(), CURLINFO_LOCAL_PORT, &localPort);
  return result_ == CURLE_OPERATION_TIMEDOUT && localPort == 0;
}

void HttpRequest::waitBeforeNextAttempt() {
  const auto until = TransferDeadlines::Clock::now() + Milliseconds(options().connectBackoff);
  while (TransferDeadlines::Clock::now() < until) poll(until);
}

template <class Condition>
void HttpRequest::driveUntil(const Condition& isReached) {
  deadlines_->readerWaits();
  while (!isReached() && !result_) {
    perform();
    if (isReached() || result_) return;
    deadlines_->check();
    if (poll(deadlines_->next())) deadlines_->active();
  }
}

void HttpRequest::perform() {
  int running = 0;
  const CURLMcode error = curl_multi_perform(channel_->multi(), &running);
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  if (error != CURLM_OK) throw CInternetException(curl_multi_strerror(error));
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(channel_->multi(), &left)) {
    if (message->msg == CURLMSG_DONE) result_ = isRefusedForGood_ ? CURLE_OK : message->data.result;
  }
}

/// Waits until `until`, or less; true if a connection has something to do.
bool HttpRequest::poll(TransferDeadlines::Clock::time_point until) {
  checkCutOff();
  const auto wait = std::chrono::ceil<Milliseconds>(until - TransferDeadlines::Clock::now());
  int active = 0;
  curl_multi_poll(channel_->multi(), nullptr, 0, static_cast<int>(std::clamp<std::int64_t>(wait.count(), 0, INT_MAX)),
                  &active);
  return active > 0;
}

/// The transfer has ended: throws if that was before its proper end.
void HttpRequest::checkEnd() {
  if (result_ != CURLE_OK) {
    throw CInternetException(*errorText_ ? errorText_ : curl_easy_strerror(*result_), errorOf(*result_));
  }
  if (status_ != 0) return;
  // Credentials could have answered this response, but libcurl knows none of the ways it asks for.
  const long status = responseCode();
  if (!head_.isEnded() || status < 200) {
    throw CInternetException("The response ended within its header lines");
  }
  finalHeaders(status);
}

std::uint32_t HttpRequest::errorOf(CURLcode result) const {
  if (hasNoTlsAnswered(result)) return ERROR_INTERNET_CANNOT_CONNECT;
  // What follows the end of a coding is an error of writing to libcurl.
  if (decodes_ && result == CURLE_WRITE_ERROR) return ERROR_INTERNET_DECODING_FAILED;
  const auto known = std::ranges::find(kErrors, result, &std::pair<CURLcode, std::uint32_t>::first);
  return known != std::end(kErrors) ? known->second : ERROR_INTERNET_CONNECTION_ABORTED;
}

bool HttpRequest::hasNoTlsAnswered(CURLcode result) const {
  constexpr CURLcode kEnds[] = {CURLE_COULDNT_CONNECT, CURLE_SSL_CONNECT_ERROR, CURLE_OPERATION_TIMEDOUT,
                                CURLE_RECV_ERROR, CURLE_SEND_ERROR};
  return isTentative_ && !isResolving_ && !isConnected_ && !hasTlsAnswered_ &&
         std::ranges::find(kEnds, result) != std::end(kEnds);
}

/// Each coding may grow what comes to the next one, which nobody counts, and takes memory of its own: up to 128 MiB for
/// zstd.
void HttpRequest::refuseLongCodings() const {
  const std::vector<std::string> codings = contentCodings(head_.lines());
  if (codings.size() > kMaxCodings || std::ranges::count(codings, "zstd") > 1) {
    throw CInternetException("The body is encoded too often", ERROR_HTTP_INVALID_SERVER_RESPONSE);
  }
}

/// Whether there are bytes to be read, once some have come or the body has ended.
bool HttpRequest::fill() {
  if (!unread().empty()) return true;
  if (!channel_) return false;
  const Libcurl::Stay stay = libcurl.enterOrThrow();
  if (statedLength() > options().maximumBody) throwTooLargeBody();
  piece_.clear();
  taken_ = 0;
  driveUntil([this] { return !piece_.empty(); });
  if (piece_.empty()) checkEnd();
  return !piece_.empty();
}

/// -1 if the header lines state none.
curl_off_t HttpRequest::statedLength() const {
  curl_off_t length = -1;
  if (channel_) curl_easy_getinfo(channel_->easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return length;
}

long HttpRequest::responseCode() const {
  long code = 0;
  curl_easy_getinfo(channel_->easy(), isConnected_ ? CURLINFO_RESPONSE_CODE : CURLINFO_HTTP_CONNECTCODE, &code);
  return code;
}

template <class Action>
bool HttpRequest::guarded(const Action& action) noexcept {
  if (failure_) return false;
  try {
    action();
    return true;
  } catch (...) {
    failure_ = std::current_exception();
    return false;
  }
}

void HttpRequest::notify(std::uint32_t status, std::optional<std::string_view> information) {
  if (!state_.notifies) return;
  const std::string_view text = information.value_or("");
  session_.OnStatusCallback(state_.context, status, information ? text.data() : nullptr,
                            static_cast<std::uint32_t>(text.size()));
}

void HttpRequest::resolving() {
  isResolving_ = true;
  notify(INTERNET_STATUS_RESOLVING_NAME, destination_.host);
}

void HttpRequest::connecting(const curl_sockaddr& address) {
  isConnected_ = false;
  if (std::exchange(isResolving_, false)) notify(INTERNET_STATUS_NAME_RESOLVED, destination_.host);
  isConnecting_ = true;
  notify(INTERNET_STATUS_CONNECTING_TO_SERVER, textOf(address.addr, address.addrlen));
}

void HttpRequest::connected(std::string_view address) {
  isConnected_ = true;
  deadlines_->connected();
  if (std::exchange(isConnecting_, false)) notify(INTERNET_STATUS_CONNECTED_TO_SERVER, address);
  isSending_ = true;
  notify(INTERNET_STATUS_SENDING_REQUEST);
}

/// Gets the lines of every response, those after a chunked body included.
void HttpRequest::headerLine(std::string_view line) {
  deadlines_->received(line.size());
  head_.count(line.size());
  if (status_ != 0) return;

  if (std::exchange(isSending_, false)) {
    notify(INTERNET_STATUS_REQUEST_SENT);
    notify(INTERNET_STATUS_RECEIVING_RESPONSE);
  }
  head_.add(line);
  if (head_.isEnded()) endOfHeaders();
}

void HttpRequest::endOfHeaders() {
  const long status = responseCode();
  const bool isRefusal = status == kUnauthorized || status == kProxyAuthenticationRequired;
  if (isRefusal && mayAnswer(status)) return;
  if (!isConnected_) {
    if (isRefusal) {
      throw CInternetException("The proxy has refused the credentials", ERROR_INTERNET_INCORRECT_PASSWORD);
    }
    return;
  }
  const bool isProvisional = status < 200 && status != kSwitchingProtocols;
  if (isProvisional) return;
  // Lest a server that calls each nonce a stale one is answered for ever.
  isRefusedForGood_ = serverRefusals_ > 1 || proxyRefusals_ > 1;
  finalHeaders(status);
}

/// Whether libcurl answers this refusal with credentials, if it can: the first of its kind.
bool HttpRequest::mayAnswer(long status) {
  if (status == kUnauthorized) return destination_.credentials.canAnswer() && serverRefusals_++ == 0;
  return proxyCredentials_.canAnswer() && proxyRefusals_++ == 0;
}

void HttpRequest::finalHeaders(long status) {
  if (decodes_) refuseLongCodings();
  status_ = status;
  notify(INTERNET_STATUS_RESPONSE_RECEIVED);
}

void HttpRequest::bodyPiece(std::string_view bytes) {
  deadlines_->received(bytes.size());
  bodyBytes_ += bytes.size();
  if (bodyBytes_ > options().maximumBody) throwTooLargeBody();
  if (status_ == 0) finalHeaders(responseCode());
  piece_.append(bytes);
}

int HttpRequest::onResolve(void*, void*, void* request) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  return self.guarded([&] { self.resolving(); }) ? 0 : 1;
}

curl_socket_t HttpRequest::onOpen(void* request, curlsocktype, curl_sockaddr* address) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  if (!self.guarded([&] { self.connecting(*address); })) return CURL_SOCKET_BAD;
  return openSocket(address->family, address->socktype, address->protocol);
}

int HttpRequest::onClose(void* channel, curl_socket_t socket) noexcept {
  auto& its = *static_cast<Channel*>(channel);
  if (its.keptSocket == socket) its.keptSocket = kNoSocket;
  HttpRequest* const self = its.request;
  if (self) self->guarded([&] { self->notify(INTERNET_STATUS_CLOSING_CONNECTION); });
  const int result = closeSocket(socket);
  if (self) self->guarded([&] { self->notify(INTERNET_STATUS_CONNECTION_CLOSED); });
  return result;
}

int HttpRequest::onConnected(void* request, char* address, char*, int, int) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  return self.guarded([&] { self.connected(address); }) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

/// What a TLS record begins with: its kind and the first byte of its version.
int HttpRequest::onTlsBytes(CURL*, curl_infotype type, char* bytes, std::size_t count, void* request) noexcept {
  constexpr std::size_t kRecordHead = 5;
  const bool isRecord = count >= kRecordHead && bytes[0] >= 20 && bytes[0] <= 23 && bytes[1] == 3;
  if (type == CURLINFO_SSL_DATA_IN && isRecord) static_cast<HttpRequest*>(request)->hasTlsAnswered_ = true;
  return 0;
}

std::size_t HttpRequest::onHeader(char* bytes, std::size_t, std::size_t count, void* request) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  const bool goesOn = self.guarded([&] { self.headerLine({bytes, count}); }) && !self.isRefusedForGood_;
  return goesOn ? count : 0;
}

std::size_t HttpRequest::onBody(char* bytes, std::size_t, std::size_t count, void* request) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  return self.guarded([&] { self.bodyPiece({bytes, count}); }) ? count : 0;
}

}  // namespace quillmoria
