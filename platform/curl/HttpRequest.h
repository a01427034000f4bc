#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/CInternetSession.h"
#include "platform/curl/Credentials.h"
#include "platform/curl/ResponseHead.h"
#include "platform/curl/SessionState.h"
#include "platform/curl/TransferDeadlines.h"

namespace quillmoria {

/// Header lines for libcurl.
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

/// Where a request goes and as whom.
struct Destination {
  std::string host;
  std::uint16_t port;
  Credentials credentials;
};

/// One transfer of libcurl. Its callbacks run inside `perform`; what they throw is kept and goes on from
/// there.
class HttpRequest : public CHttpFile {
 public:
  /// `objectPath` gets a leading "/" where it has none.
  HttpRequest(CInternetSession& session, SessionState& state, Destination destination, std::string_view verb,
              std::string_view objectPath, std::uint32_t flags);
  HttpRequest(const HttpRequest&) = delete;
  HttpRequest& operator=(const HttpRequest&) = delete;
  ~HttpRequest() override { HttpRequest::Close(); }

  void AddRequestHeaders(std::string_view lines, std::uint32_t flags) override;
  void SetOption(std::uint32_t option, std::string_view value) override;
  void SendRequest() override;
  std::int32_t QueryInfoStatusCode() const override { return static_cast<std::int32_t>(status_); }
  std::string QueryInfoRawHeaders() const override { return head_.lines(); }
  std::size_t QueryInfoContentLength() const override;
  std::size_t Read(void* buffer, std::size_t count) override;
  bool ReadString(CString& text) override;
  void Close() override;

 private:
  const SessionOptions& options() const { return state_.options; }

  // Setting up.
  template <class Value>
  void set(CURLoption option, Value value);
  void configure();
  void configureProxy();
  void configureCallbacks();

  // Running.
  void endTransfer() noexcept;
  void begin();
  bool isWithoutConnection() const;
  void waitBeforeNextAttempt();
  template <class Condition>
  void driveUntil(const Condition& isReached);
  void perform();
  bool poll(TransferDeadlines::Clock::time_point until);
  void checkEnd();
  std::uint32_t errorOf(CURLcode result) const;
  bool hasNoTlsAnswered(CURLcode result) const;
  void refuseLongCodings() const;
  bool fill();
  curl_off_t statedLength() const;
  long responseCode() const;
  std::string_view unread() const { return std::string_view(piece_).substr(taken_); }

  // What libcurl tells.
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
  static int onResolve(void*, void*, void* request) noexcept;
  static curl_socket_t onOpen(void* request, curlsocktype, curl_sockaddr* address) noexcept;
  static int onClose(void* channel, curl_socket_t socket) noexcept;
  static int onConnected(void* request, char* address, char*, int, int) noexcept;
  static int onTlsBytes(CURL*, curl_infotype type, char* bytes, std::size_t count, void* request) noexcept;
  static std::size_t onHeader(char* bytes, std::size_t, std::size_t count, void* request) noexcept;
  static std::size_t onBody(char* bytes, std::size_t, std::size_t count, void* request) noexcept;

  CInternetSession& session_;
  SessionState& state_;
  const Destination destination_;
  const std::string verb_;
  const bool isSecure_;
  const bool isTentative_;
  const bool decodes_;
  const std::string server_;
  const std::string target_;
  HeaderList headers_;
  HeaderList proxyHeaders_;
  Credentials proxyCredentials_;
  bool isClosed_ = false;

  Channel* channel_ = nullptr;                  ///< from the sending to the closing
  std::optional<TransferDeadlines> deadlines_;  ///< from the sending on
  char errorText_[CURL_ERROR_SIZE] = "";
  std::exception_ptr failure_;      ///< what a callback has thrown
  std::optional<CURLcode> result_;  ///< once the transfer has ended

  bool isResolving_ = false;
  bool isConnecting_ = false;
  bool hasTlsAnswered_ = false;
  bool isConnected_ = false;  ///< to the server, through the proxy's tunnel if there is one
  bool isSending_ = false;
  bool isRefusedForGood_ = false;
  int serverRefusals_ = 0;
  int proxyRefusals_ = 0;

  ResponseHead head_;
  long status_ = 0;  ///< of the final response, once its header lines are there
  std::size_t bodyBytes_ = 0;
  std::string piece_;
  std::size_t taken_ = 0;  ///< of the piece, by the reader
};

}  // namespace quillmoria
