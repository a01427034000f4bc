#include "platform/CInternetSession.h"

#include <curl/curl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/AfxParseURL.h"
#include "platform/ModuleEntry.h"
#include "platform/Text.h"

class HttpRequest;

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr std::ptrdiff_t kMaxIdleChannels = 16;
constexpr std::size_t kMaxHeaderBytes = 256 * 1024;
constexpr long kNetworkPieceBytes = 64 * 1024;
constexpr int kDrainSteps = 4;
constexpr long kSwitchingProtocols = 101;
constexpr long kUnauthorized = 401;
constexpr long kProxyAuthenticationRequired = 407;
constexpr char kCutOffText[] = "The transfer was cut off";

/// What a request target is made of; '%' as well, so that what is encoded already stays as it is.
constexpr std::string_view kTargetBytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?[]@!$&'()*+,;=%";

/// What all requests of a process know of names and TLS sessions.
class Share {
 public:
  Share() : handle_(curl_share_init()) {
    if (!handle_) throw CInternetException("Out of memory");
    curl_share_setopt(handle_, CURLSHOPT_USERDATA, this);
    curl_share_setopt(handle_, CURLSHOPT_LOCKFUNC, lock);
    curl_share_setopt(handle_, CURLSHOPT_UNLOCKFUNC, unlock);
    curl_share_setopt(handle_, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(handle_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;
  ~Share() { curl_share_cleanup(handle_); }

  CURLSH* handle() const { return handle_; }

 private:
  static void lock(CURL*, curl_lock_data data, curl_lock_access, void* share) noexcept {
    static_cast<Share*>(share)->mutexes_[data].lock();
  }
  static void unlock(CURL*, curl_lock_data data, void* share) noexcept {
    static_cast<Share*>(share)->mutexes_[data].unlock();
  }

  CURLSH* handle_;
  std::array<std::mutex, CURL_LOCK_DATA_LAST> mutexes_;
};

/// A multi handle, which keeps a connection, and its one easy handle.
class Channel {
 public:
  explicit Channel(std::shared_ptr<Share> share)
      : share_(std::move(share)),
        multi_(curl_multi_init(), &curl_multi_cleanup),
        easy_(curl_easy_init(), &curl_easy_cleanup) {
    if (!multi_ || !easy_) throw CInternetException("Out of memory");
    curl_multi_setopt(multi(), CURLMOPT_MAXCONNECTS, 1L);
    curl_easy_setopt(easy(), CURLOPT_SHARE, share_->handle());
  }

  CURLM* multi() const { return multi_.get(); }
  CURL* easy() const { return easy_.get(); }

  std::string server;              ///< scheme, host and port it talked to last
  HttpRequest* request = nullptr;  ///< what uses it; null while it is idle

 private:
  std::shared_ptr<Share> share_;
  std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi_;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy_;
};

/// The channels of one session.
class ChannelPool {
 public:
  ChannelPool();
  ChannelPool(const ChannelPool&) = delete;
  ChannelPool& operator=(const ChannelPool&) = delete;
  ~ChannelPool();

  /// A channel for `request` to `server`, if possible one that talked to it before. Throws CInternetException.
  Channel* acquire(const std::string& server, HttpRequest* request);

  /// Takes back what acquire gave.
  void release(Channel* channel) noexcept;

 private:
  friend struct Network;
  using Channels = std::vector<std::unique_ptr<Channel>>;

  static bool isIdle(const std::unique_ptr<Channel>& channel) { return !channel->request; }
  Channels::iterator chooseIdle(const std::string& server);

  Channels channels_;  ///< the one used last at the end
  std::shared_ptr<Share> share_;
  ChannelPool* next_;
};

/// The network library, once in a process.
struct Network {
  std::mutex mutex;  ///< guards all below but the atomic members, and every pool
  bool isSetUp = false;
  ChannelPool* pools = nullptr;
  std::atomic<bool> isCutOff = false;
  std::atomic<void (*)()> shutDown = nullptr;

  /// Under the lock. Throws CInternetException.
  void setUp() {
    if (isSetUp) return;
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
      throw CInternetException("The network library cannot be set up");
    }
    isSetUp = true;
    // At once, so that it comes before what the network library is built on tears itself down.
    quillmoria::callAtExit(atExit);
  }

  void cutOff() {
    const std::lock_guard lock(mutex);
    isCutOff = true;
    for (ChannelPool* pool = pools; pool; pool = pool->next_) {
      std::erase_if(pool->channels_, ChannelPool::isIdle);
      pool->share_.reset();
      for (const auto& channel : pool->channels_) curl_multi_wakeup(channel->multi());
    }
  }

  void giveBack() {
    const std::lock_guard lock(mutex);
    for (ChannelPool* pool = pools; pool; pool = pool->next_) {
      if (!pool->channels_.empty()) return;
    }
    if (std::exchange(isSetUp, false)) curl_global_cleanup();
  }

  static void atExit();
};

constinit Network network;
static_assert(std::is_trivially_destructible_v<Network>, "used beyond the end of static objects");

void Network::atExit() {
  if (void (*const shutDown)() = network.shutDown) shutDown();
  network.cutOff();
  network.giveBack();
}

ChannelPool::ChannelPool() {
  const std::lock_guard lock(network.mutex);
  network.setUp();
  next_ = std::exchange(network.pools, this);
}

ChannelPool::~ChannelPool() {
  const std::lock_guard lock(network.mutex);
  ChannelPool** link = &network.pools;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

Channel* ChannelPool::acquire(const std::string& server, HttpRequest* request) {
  const std::lock_guard lock(network.mutex);
  if (network.isCutOff) throw CInternetException(kCutOffText);
  network.setUp();

  auto chosen = chooseIdle(server);
  if (chosen == channels_.end()) {
    if (!share_) share_ = std::make_shared<Share>();
    chosen = channels_.insert(channels_.end(), std::make_unique<Channel>(share_));
  }
  (*chosen)->server = server;
  (*chosen)->request = request;
  return chosen->get();
}

ChannelPool::Channels::iterator ChannelPool::chooseIdle(const std::string& server) {
  const auto same = std::ranges::find_if(
      channels_, [&](const auto& channel) { return isIdle(channel) && channel->server == server; });
  if (same != channels_.end()) return same;
  const bool isFull = std::ranges::count_if(channels_, isIdle) >= kMaxIdleChannels;
  return isFull ? std::ranges::find_if(channels_, isIdle) : channels_.end();
}

void ChannelPool::release(Channel* channel) noexcept {
  const std::lock_guard lock(network.mutex);
  channel->request = nullptr;
  const auto its = std::ranges::find(channels_, channel, &std::unique_ptr<Channel>::get);
  std::rotate(its, its + 1, channels_.end());
  if (network.isCutOff) {
    channels_.pop_back();
  } else if (std::ranges::count_if(channels_, isIdle) > kMaxIdleChannels) {
    channels_.erase(std::ranges::find_if(channels_, isIdle));
  }
}

struct Options {
  std::uint32_t connectTimeout = 60'000;
  std::uint32_t connectRetries = 5;
  std::uint32_t connectBackoff = 5'000;
  std::uint32_t idleTimeout = 30'000;
  std::uint32_t slowPeriod = 60'000;
  std::uint32_t slowBytes = 1'024;
  std::uint32_t transferTimeout = 600'000;
  std::uint32_t maximumBody = 64 << 20;
};

constexpr std::pair<std::uint32_t, std::uint32_t Options::*> kOptions[] = {
    {INTERNET_OPTION_CONNECT_TIMEOUT, &Options::connectTimeout},
    {INTERNET_OPTION_CONNECT_RETRIES, &Options::connectRetries},
    {INTERNET_OPTION_CONNECT_BACKOFF, &Options::connectBackoff},
    {INTERNET_OPTION_IDLE_TIMEOUT, &Options::idleTimeout},
    {INTERNET_OPTION_SLOW_PERIOD, &Options::slowPeriod},
    {INTERNET_OPTION_SLOW_BYTES, &Options::slowBytes},
    {INTERNET_OPTION_TRANSFER_TIMEOUT, &Options::transferTimeout},
    {INTERNET_OPTION_MAXIMUM_BODY, &Options::maximumBody},
};

/// `target` with a leading "/" and with all bytes encoded that no request line may hold.
std::string encodeTarget(std::string_view target) {
  constexpr char kDigits[] = "0123456789ABCDEF";
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

std::string_view withoutLineEnd(std::string_view line) {
  while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string_view nameOf(std::string_view headerLine) { return headerLine.substr(0, headerLine.find(':')); }

std::string textOf(const sockaddr& address, socklen_t size) {
  char host[NI_MAXHOST] = "";
  getnameinfo(&address, size, host, sizeof host, nullptr, 0, NI_NUMERICHOST);
  return host;
}

/// Header lines for the network library.
class HeaderList {
 public:
  HeaderList() : first_(nullptr, &curl_slist_free_all) {}

  void append(const std::string& line) {
    curl_slist* const longer = curl_slist_append(first_.get(), line.c_str());
    if (!longer) throw CInternetException("Out of memory");
    static_cast<void>(first_.release());
    first_.reset(longer);
  }

  bool hasName(std::string_view name) const {
    const std::string wanted = quillmoria::lowerAscii(name);
    for (const curl_slist* line = first_.get(); line; line = line->next) {
      if (quillmoria::lowerAscii(nameOf(line->data)) == wanted) return true;
    }
    return false;
  }

  curl_slist* get() const { return first_.get(); }

 private:
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> first_;
};

struct Credentials {
  std::string userName;
  std::string password;
};

/// Where a request goes and as whom.
struct Destination {
  std::string host;
  std::uint16_t port;
  Credentials credentials;
};

}  // namespace

struct CInternetSession::State {
  std::string agent;
  std::uintptr_t context;
  std::int32_t accessType;
  std::string proxyName;
  std::string proxyBypass;
  std::string certificates;  ///< a file that replaces the system's authorities, or empty
  Options options{};
  std::atomic<bool> notifies = false;
  ChannelPool pool{};

  /// The proxy for requests of `scheme`; empty: none.
  std::string proxyFor(std::string_view scheme) const;
};

std::string CInternetSession::State::proxyFor(std::string_view scheme) const {
  if (accessType == INTERNET_OPEN_TYPE_PROXY) return proxyName;
  if (accessType != INTERNET_OPEN_TYPE_PRECONFIG) return "";
  if (!proxyName.starts_with("http=") && !proxyName.starts_with("https=")) return proxyName;

  std::string_view rest = proxyName;
  while (!rest.empty()) {
    const std::string_view one = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(one.size() + 1, rest.size()));
    if (one.starts_with(scheme) && one.substr(scheme.size()).starts_with('=')) {
      return std::string(one.substr(scheme.size() + 1));
    }
  }
  return "";
}

/// One transfer of the network library. Its callbacks run inside `perform`; what they throw is kept and goes on from
/// there.
class HttpRequest : public CHttpFile {
 public:
  HttpRequest(CInternetSession& session, Destination destination, std::string verb, std::string target, bool isSecure);
  ~HttpRequest() override { HttpRequest::Close(); }

  void AddRequestHeaders(std::string_view lines, std::uint32_t flags) override;
  void SetOption(std::uint32_t option, std::string_view value) override;
  void SendRequest() override;
  std::int32_t QueryInfoStatusCode() const override { return static_cast<std::int32_t>(status_); }
  std::string QueryInfoRawHeaders() const override { return rawHeaders_; }
  std::size_t Read(void* buffer, std::size_t count) override;
  bool ReadString(CString& text) override;
  void Close() override;

 private:
  CInternetSession::State& state() const { return *session_.state_; }
  const Options& options() const { return state().options; }

  // Setting up.
  template <class Value>
  void set(CURLoption option, Value value);
  void configure();
  void configureProxy();
  void configureCallbacks();

  // Running.
  void begin();
  bool isWithoutConnection() const;
  void waitBeforeRetry();
  template <class Condition>
  void driveUntil(const Condition& isReached);
  void perform();
  void checkBounds();
  void waitForActivity();
  bool poll(Clock::time_point until);
  Clock::time_point transferEnd() const;
  Clock::time_point idleEnd() const;
  Clock::time_point periodEnd() const;
  void checkEnd();
  bool fill();
  long responseCode() const;
  std::string_view unread() const { return std::string_view(piece_).substr(taken_); }

  // What the network library tells.
  template <class Action>
  bool guarded(const Action& action) noexcept;
  void notify(std::uint32_t status, std::optional<std::string_view> information = std::nullopt);
  void resolving();
  void connecting(const curl_sockaddr& address);
  void connected(std::string_view address);
  void headerLine(std::string_view line);
  void endOfHeaders();
  bool mayAnswer(long status);
  void finalHeaders(long status);
  void bodyPiece(std::string_view bytes);
  void noteBytes(std::size_t count);
  static int onResolve(void*, void*, void* request) noexcept;
  static curl_socket_t onOpen(void* request, curlsocktype, curl_sockaddr* address) noexcept;
  static int onClose(void* channel, curl_socket_t socket) noexcept;
  static int onConnected(void* request, char* address, char*, int, int) noexcept;
  static std::size_t onHeader(char* bytes, std::size_t, std::size_t count, void* request) noexcept;
  static std::size_t onBody(char* bytes, std::size_t, std::size_t count, void* request) noexcept;

  CInternetSession& session_;
  const Destination destination_;
  const std::string verb_;
  const std::string scheme_;
  const std::string server_;
  const std::string target_;
  HeaderList headers_;
  HeaderList proxyHeaders_;
  Credentials proxyCredentials_;
  bool hasProxyCredentials_ = false;
  bool isClosed_ = false;

  Channel* channel_ = nullptr;  ///< from the sending to the closing
  char errorText_[CURL_ERROR_SIZE] = "";
  std::exception_ptr failure_;      ///< what a callback has thrown
  std::optional<CURLcode> result_;  ///< once the transfer has ended

  bool isResolving_ = false;
  bool isConnecting_ = false;
  bool isConnected_ = false;  ///< to the server, through the proxy's tunnel if there is one
  bool isSending_ = false;
  bool isBlockEnded_ = true;  ///< the next header line is a status line
  bool isRefusedForGood_ = false;
  int serverRefusals_ = 0;
  int proxyRefusals_ = 0;

  std::string rawHeaders_;
  long status_ = 0;  ///< of the final response, once its header lines are there
  std::size_t headerBytes_ = 0;
  std::size_t bodyBytes_ = 0;
  std::string piece_;
  std::size_t taken_ = 0;  ///< of the piece, by the reader

  Clock::time_point start_;
  Clock::time_point lastActivity_;
  std::optional<Clock::time_point> periodStart_;  ///< of the period over which the rate is taken; none before a byte
  std::size_t periodBytes_ = 0;
};

HttpRequest::HttpRequest(CInternetSession& session, Destination destination, std::string verb, std::string target,
                         bool isSecure)
    : session_(session),
      destination_(std::move(destination)),
      verb_(std::move(verb)),
      scheme_(isSecure ? "https" : "http"),
      server_(scheme_ + "://" + destination_.host + ":" + std::to_string(destination_.port)),
      target_(std::move(target)) {
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
  channel_ = state().pool.acquire(server_, this);
  configure();
  start_ = Clock::now();
  for (std::uint32_t retries = options().connectRetries;; --retries) {
    begin();
    driveUntil([this] { return status_ != 0; });
    if (retries == 0 || !isWithoutConnection()) break;
    curl_multi_remove_handle(channel_->multi(), channel_->easy());
    waitBeforeRetry();
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

void HttpRequest::Close() {
  if (std::exchange(isClosed_, true)) return;
  if (channel_) {
    try {
      // The rest of a short body is mostly there already, and then the connection can be kept.
      for (int step = 0; step < kDrainSteps && status_ != 0 && !result_; ++step) perform();
    } catch (const std::exception&) {
      // Nobody is left who would want to know.
    }
    curl_multi_remove_handle(channel_->multi(), channel_->easy());
    state().pool.release(std::exchange(channel_, nullptr));
  }
  guarded([this] { notify(INTERNET_STATUS_HANDLE_CLOSING); });
}

template <class Value>
void HttpRequest::set(CURLoption option, Value value) {
  if (const CURLcode error = curl_easy_setopt(channel_->easy(), option, value)) {
    throw CInternetException(curl_easy_strerror(error));
  }
}

void HttpRequest::configure() {
  curl_easy_reset(channel_->easy());
  set(CURLOPT_ERRORBUFFER, errorText_);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_BUFFERSIZE, kNetworkPieceBytes);
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options().connectTimeout));
  set(CURLOPT_URL, (server_ + target_).c_str());
  set(CURLOPT_CUSTOMREQUEST, verb_.c_str());
  set(CURLOPT_USERAGENT, state().agent.c_str());
  set(CURLOPT_HTTPHEADER, headers_.get());
  set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
  if (!destination_.credentials.userName.empty()) {
    set(CURLOPT_USERNAME, destination_.credentials.userName.c_str());
    set(CURLOPT_PASSWORD, destination_.credentials.password.c_str());
  }
  if (!state().certificates.empty()) {
    set(CURLOPT_CAINFO, state().certificates.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  configureProxy();
  configureCallbacks();
}

void HttpRequest::configureProxy() {
  const std::string proxy = state().proxyFor(scheme_);
  // An empty text is no proxy, whatever the environment says.
  set(CURLOPT_PROXY, proxy.c_str());
  set(CURLOPT_NOPROXY, state().proxyBypass.c_str());
  set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
  if (!proxyCredentials_.userName.empty()) {
    set(CURLOPT_PROXYUSERNAME, proxyCredentials_.userName.c_str());
    set(CURLOPT_PROXYPASSWORD, proxyCredentials_.password.c_str());
  }
  hasProxyCredentials_ = !proxyCredentials_.userName.empty() || proxy.find('@') != std::string::npos;
  proxyHeaders_.append("Proxy-Connection:");  // keeps the network library from adding one
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
}

void HttpRequest::begin() {
  result_.reset();
  if (const CURLMcode error = curl_multi_add_handle(channel_->multi(), channel_->easy())) {
    throw CInternetException(curl_multi_strerror(error));
  }
}

bool HttpRequest::isWithoutConnection() const {
  if (result_ == CURLE_COULDNT_CONNECT) return true;
  curl_off_t connectTime = 0;
  curl_easy_getinfo(channel_->easy(), CURLINFO_CONNECT_TIME_T, &connectTime);
  return result_ == CURLE_OPERATION_TIMEDOUT && connectTime == 0;
}

void HttpRequest::waitBeforeRetry() {
  const auto until = Clock::now() + Milliseconds(options().connectBackoff);
  while (Clock::now() < until) poll(until);
}

template <class Condition>
void HttpRequest::driveUntil(const Condition& isReached) {
  lastActivity_ = Clock::now();
  while (!isReached() && !result_) {
    perform();
    if (isReached() || result_) return;
    checkBounds();
    waitForActivity();
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

void HttpRequest::checkBounds() {
  const auto now = Clock::now();
  if (now >= transferEnd()) throw CInternetException("The transfer took too long");
  if (now >= idleEnd()) throw CInternetException("The server has stopped sending");
  if (now < periodEnd()) return;
  if (periodBytes_ < options().slowBytes) throw CInternetException("The server sends too slowly");
  periodStart_ = now;
  periodBytes_ = 0;
}

Clock::time_point HttpRequest::transferEnd() const { return start_ + Milliseconds(options().transferTimeout); }

Clock::time_point HttpRequest::idleEnd() const {
  // Before that the connection's own time-out holds.
  return isConnected_ ? lastActivity_ + Milliseconds(options().idleTimeout) : Clock::time_point::max();
}

Clock::time_point HttpRequest::periodEnd() const {
  return periodStart_ ? *periodStart_ + Milliseconds(options().slowPeriod) : Clock::time_point::max();
}

void HttpRequest::waitForActivity() {
  if (!poll(std::min({transferEnd(), idleEnd(), periodEnd()}))) return;
  lastActivity_ = Clock::now();
  if (isConnected_) noteBytes(0);
}

/// Waits until `until`, or less; true if a connection has something to do.
bool HttpRequest::poll(Clock::time_point until) {
  if (network.isCutOff) throw CInternetException(kCutOffText);
  const auto wait = std::chrono::ceil<Milliseconds>(until - Clock::now());
  int active = 0;
  curl_multi_poll(channel_->multi(), nullptr, 0, static_cast<int>(std::clamp<std::int64_t>(wait.count(), 0, INT_MAX)),
                  &active);
  return active > 0;
}

/// The transfer has ended: throws if that was before its proper end.
void HttpRequest::checkEnd() {
  if (result_ != CURLE_OK) throw CInternetException(*errorText_ ? errorText_ : curl_easy_strerror(*result_));
  if (status_ != 0) return;
  // Credentials could have answered this response, but the network library knows none of the ways it asks for.
  const long status = responseCode();
  if (!isBlockEnded_ || status < 200) throw CInternetException("The response ended within its header lines");
  finalHeaders(status);
}

/// Whether there are bytes to be read, once some have come or the body has ended.
bool HttpRequest::fill() {
  if (!unread().empty()) return true;
  if (!channel_) return false;
  piece_.clear();
  taken_ = 0;
  driveUntil([this] { return !piece_.empty(); });
  if (piece_.empty()) checkEnd();
  return !piece_.empty();
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
  if (!state().notifies) return;
  const std::string_view text = information.value_or("");
  session_.OnStatusCallback(state().context, status, information ? text.data() : nullptr,
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
  lastActivity_ = Clock::now();
  if (std::exchange(isConnecting_, false)) notify(INTERNET_STATUS_CONNECTED_TO_SERVER, address);
  isSending_ = true;
  notify(INTERNET_STATUS_SENDING_REQUEST);
}

/// Gets the lines of every response, those of a proxy that opens a tunnel and those behind a chunked body included.
void HttpRequest::headerLine(std::string_view line) {
  noteBytes(line.size());
  headerBytes_ += line.size();
  if (headerBytes_ > kMaxHeaderBytes) throw CInternetException("The header lines are too large");
  if (status_ != 0) return;

  if (std::exchange(isSending_, false)) {
    notify(INTERNET_STATUS_REQUEST_SENT);
    notify(INTERNET_STATUS_RECEIVING_RESPONSE);
  }
  const std::string_view text = withoutLineEnd(line);
  if (std::exchange(isBlockEnded_, text.empty())) rawHeaders_.clear();
  if (!text.empty()) {
    rawHeaders_.append(text).append("\r\n");
  } else {
    endOfHeaders();
  }
}

void HttpRequest::endOfHeaders() {
  const long status = responseCode();
  const bool isRefusal = status == kUnauthorized || status == kProxyAuthenticationRequired;
  if (isRefusal && mayAnswer(status)) return;
  if (!isConnected_) {
    if (isRefusal) throw CInternetException("The proxy has refused the credentials");
    return;
  }
  const bool isProvisional = status < 200 && status != kSwitchingProtocols;
  if (isProvisional) return;
  // Lest a server that calls each nonce a stale one is answered for ever.
  isRefusedForGood_ = serverRefusals_ > 1 || proxyRefusals_ > 1;
  finalHeaders(status);
}

/// Whether the network library answers this refusal with credentials, if it can: the first of its kind.
bool HttpRequest::mayAnswer(long status) {
  if (status == kUnauthorized) return !destination_.credentials.userName.empty() && serverRefusals_++ == 0;
  return hasProxyCredentials_ && proxyRefusals_++ == 0;
}

void HttpRequest::finalHeaders(long status) {
  status_ = status;
  notify(INTERNET_STATUS_RESPONSE_RECEIVED);
}

void HttpRequest::bodyPiece(std::string_view bytes) {
  noteBytes(bytes.size());
  bodyBytes_ += bytes.size();
  if (bodyBytes_ > options().maximumBody) throw CInternetException("The body is too large");
  if (status_ == 0) finalHeaders(responseCode());
  piece_.append(bytes);
}

void HttpRequest::noteBytes(std::size_t count) {
  if (!periodStart_) periodStart_ = Clock::now();
  periodBytes_ += count;
}

int HttpRequest::onResolve(void*, void*, void* request) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  return self.guarded([&] { self.resolving(); }) ? 0 : 1;
}

curl_socket_t HttpRequest::onOpen(void* request, curlsocktype, curl_sockaddr* address) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  if (!self.guarded([&] { self.connecting(*address); })) return CURL_SOCKET_BAD;
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

int HttpRequest::onClose(void* channel, curl_socket_t socket) noexcept {
  HttpRequest* const self = static_cast<Channel*>(channel)->request;
  if (self) self->guarded([&] { self->notify(INTERNET_STATUS_CLOSING_CONNECTION); });
  const int result = close(socket);
  if (self) self->guarded([&] { self->notify(INTERNET_STATUS_CONNECTION_CLOSED); });
  return result;
}

int HttpRequest::onConnected(void* request, char* address, char*, int, int) noexcept {
  auto& self = *static_cast<HttpRequest*>(request);
  return self.guarded([&] { self.connected(address); }) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
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

namespace {

class HttpConnection : public CHttpConnection {
 public:
  HttpConnection(CInternetSession& session, Destination destination)
      : session_(session), destination_(std::move(destination)) {}

  std::unique_ptr<CHttpFile> OpenRequest(std::string_view verb, std::string_view objectPath,
                                         std::uint32_t flags) override {
    return std::make_unique<HttpRequest>(session_, destination_, std::string(verb), encodeTarget(objectPath),
                                         (flags & INTERNET_FLAG_SECURE) != 0);
  }

 private:
  CInternetSession& session_;
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
    : state_(new State{std::move(agent), context, accessType, std::move(proxyName), std::move(proxyBypass),
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
  return std::make_unique<HttpConnection>(*this, Destination{std::string(name), port, std::move(credentials)});
}

void CInternetSession::CutOffTransfers() { network.cutOff(); }

void CInternetSession::ResumeTransfers() { network.isCutOff = false; }

void CInternetSession::SetShutDown(void (*shutDown)()) { network.shutDown = shutDown; }

void CInternetSession::OnStatusCallback(std::uintptr_t, std::uint32_t, const void*, std::uint32_t) {}

void CInternetSession::ReportStatus(const CString&) {}
