#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/CInternetSession.h"
#include "platform/posix/SessionState.h"

namespace quillmoria {

/// Header lines for the network library.
class HeaderList {
 public:
  HeaderList() : first_(nullptr, &curl_slist_free_all) {}

  /// `line` has no line end.
  void append(const std::string& line);
  bool hasName(std::string_view name) const;
  curl_slist* get() const { return first_.get(); }

 private:
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> first_;
};

struct Credentials {
  /// A name with a line end answers nothing: Digest sends it as it is, and another header line would begin there.
  bool canAnswer() const { return !userName.empty() && userName.find_first_of("\r\n") == std::string::npos; }

  std::string userName;
  std::string password;
};

/// Where a request goes and as whom.
struct Destination {
  std::string host;
  std::uint16_t port;
  Credentials credentials;
};

/// One transfer of the network library. Its callbacks run inside `perform`; what they throw is kept and goes on from
/// there.
class HttpRequest : public CHttpFile {
 public:
  /// `objectPath` gets a leading "/" where it has none.
  HttpRequest(CInternetSession& session, SessionState& state, Destination destination, std::string_view verb,
              std::string_view objectPath, bool isSecure);
  HttpRequest(const HttpRequest&) = delete;
  HttpRequest& operator=(const HttpRequest&) = delete;
  ~HttpRequest() override { HttpRequest::Close(); }

  void AddRequestHeaders(std::string_view lines, std::uint32_t flags) override;
  void SetOption(std::uint32_t option, std::string_view value) override;
  void SendRequest() override;
  std::int32_t QueryInfoStatusCode() const override { return static_cast<std::int32_t>(status_); }
  std::string QueryInfoRawHeaders() const override { return rawHeaders_; }
  std::size_t QueryInfoContentLength() const override;
  std::size_t Read(void* buffer, std::size_t count) override;
  bool ReadString(CString& text) override;
  void Close() override;

 private:
  using Clock = std::chrono::steady_clock;

  const SessionOptions& options() const { return state_.options; }

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
  curl_off_t statedLength() const;
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
  SessionState& state_;
  const Destination destination_;
  const std::string verb_;
  const bool isSecure_;
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

}  // namespace quillmoria
