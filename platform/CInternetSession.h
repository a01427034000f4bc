#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/CInternetException.h"
#include "platform/CString.h"

namespace quillmoria {
struct SessionState;
}

// Access types of a session. Any other number is a direct connection.
inline constexpr std::int32_t INTERNET_OPEN_TYPE_PRECONFIG = 0;  ///< the system's proxy
inline constexpr std::int32_t INTERNET_OPEN_TYPE_DIRECT = 1;
inline constexpr std::int32_t INTERNET_OPEN_TYPE_PROXY = 3;  ///< the named proxy

// Request flags.
inline constexpr std::uint32_t INTERNET_FLAG_EXISTING_CONNECT = 0x20000000;
inline constexpr std::uint32_t INTERNET_FLAG_NO_CACHE_WRITE = 0x04000000;
inline constexpr std::uint32_t INTERNET_FLAG_SECURE = 0x00800000;
inline constexpr std::uint32_t INTERNET_FLAG_TENTATIVE = 0x00000001;  ///< nobody knows whether TLS is spoken there
inline constexpr std::uint32_t INTERNET_FLAG_RAW_DATA = 0x40000000;   ///< whatever the options, nothing is decoded
inline constexpr std::uint32_t HTTP_ADDREQ_FLAG_ADD_IF_NEW = 0x10000000;

// Options. Those below 1000 are the platform's own, the others bound what a server can do to us.
inline constexpr std::uint32_t INTERNET_OPTION_CONNECT_TIMEOUT = 2;  ///< ms a connection may take; 60,000
inline constexpr std::uint32_t INTERNET_OPTION_CONNECT_RETRIES = 3;  ///< attempts to get a connection; 5
inline constexpr std::uint32_t INTERNET_OPTION_CONNECT_BACKOFF = 4;  ///< ms between them; 5,000
inline constexpr std::uint32_t INTERNET_OPTION_PROXY_USERNAME = 43;
inline constexpr std::uint32_t INTERNET_OPTION_PROXY_PASSWORD = 44;
inline constexpr std::uint32_t INTERNET_OPTION_HTTP_DECODING = 65;  ///< not 0: asks for compressed bodies, decodes them
inline constexpr std::uint32_t INTERNET_OPTION_ENABLE_HTTP_PROTOCOL = 148;  ///< HTTP_PROTOCOL_FLAG values; 0
inline constexpr std::uint32_t INTERNET_OPTION_IDLE_TIMEOUT = 1001;         ///< ms without a byte; 30,000
inline constexpr std::uint32_t INTERNET_OPTION_SLOW_PERIOD = 1002;          ///< ms over which the rate is taken; 60,000
inline constexpr std::uint32_t INTERNET_OPTION_SLOW_BYTES = 1003;  ///< least bytes in it, once the first came; 1,024
inline constexpr std::uint32_t INTERNET_OPTION_TRANSFER_TIMEOUT = 1004;  ///< ms in all; 600,000
inline constexpr std::uint32_t INTERNET_OPTION_MAXIMUM_BODY = 1005;      ///< bytes of a body; 64 MiB

inline constexpr std::uint32_t HTTP_PROTOCOL_FLAG_HTTP2 = 0x1;  ///< HTTP/2 where TLS offers it

// Status values of OnStatusCallback.
inline constexpr std::uint32_t INTERNET_STATUS_RESOLVING_NAME = 10;
inline constexpr std::uint32_t INTERNET_STATUS_NAME_RESOLVED = 11;
inline constexpr std::uint32_t INTERNET_STATUS_CONNECTING_TO_SERVER = 20;
inline constexpr std::uint32_t INTERNET_STATUS_CONNECTED_TO_SERVER = 21;
inline constexpr std::uint32_t INTERNET_STATUS_SENDING_REQUEST = 30;
inline constexpr std::uint32_t INTERNET_STATUS_REQUEST_SENT = 31;
inline constexpr std::uint32_t INTERNET_STATUS_RECEIVING_RESPONSE = 40;
inline constexpr std::uint32_t INTERNET_STATUS_RESPONSE_RECEIVED = 41;
inline constexpr std::uint32_t INTERNET_STATUS_CLOSING_CONNECTION = 50;
inline constexpr std::uint32_t INTERNET_STATUS_CONNECTION_CLOSED = 51;
inline constexpr std::uint32_t INTERNET_STATUS_HANDLE_CREATED = 60;
inline constexpr std::uint32_t INTERNET_STATUS_HANDLE_CLOSING = 70;
inline constexpr std::uint32_t INTERNET_STATUS_REQUEST_COMPLETE = 100;
inline constexpr std::uint32_t INTERNET_STATUS_REDIRECT = 110;

/// One request and its response, streamed. Belongs to the thread that opened it. Its session must outlive it.
///
/// Certificates are checked (SSL_CERT_FILE, if set when the session is made, replaces the system's authorities), no
/// redirect is followed, and of a response only as much is held as one piece from the network. Every call but the
/// destructor throws CInternetException on failure. Sizes of a body are those of the decoded one, if it is decoded.
class CHttpFile {
 public:
  virtual ~CHttpFile();

  /// Adds header lines, each ending in CR LF. With HTTP_ADDREQ_FLAG_ADD_IF_NEW a line whose name is there already is
  /// left out.
  virtual void AddRequestHeaders(std::string_view lines, std::uint32_t flags) = 0;

  /// Sets INTERNET_OPTION_PROXY_USERNAME or INTERNET_OPTION_PROXY_PASSWORD for this request.
  virtual void SetOption(std::uint32_t option, std::string_view value) = 0;

  /// Sends the request and returns once the header lines of the final response are there. Credentials are sent only
  /// when the server or the proxy asks for them, once, as Basic or Digest.
  virtual void SendRequest() = 0;

  virtual std::int32_t QueryInfoStatusCode() const = 0;

  /// Status line and header lines of the last response, each ending in CR LF, names as the server wrote them. A server
  /// that sends more than 256 KiB of them has failed.
  virtual std::string QueryInfoRawHeaders() const = 0;

  /// Bytes that the body of the last response has before it is decoded, as its header lines say; at most
  /// INTERNET_OPTION_MAXIMUM_BODY, and 0 if they say nothing.
  virtual std::size_t QueryInfoContentLength() const = 0;

  /// Reads up to `count` bytes of the body as soon as some are there; 0 at its end. A body that ends before its stated
  /// length is a failure.
  virtual std::size_t Read(void* buffer, std::size_t count) = 0;

  /// Appends the next line of the body to `text`, without its line feed; a carriage return before it stays. False, with
  /// nothing appended, at the body's end; a last line without a line feed is a line, nothing after a last line feed is
  /// none. On failure nothing is appended.
  virtual bool ReadString(CString& text) = 0;

  /// Ends the request. The connection is kept for the next one to the same host if the whole body has arrived.
  virtual void Close() = 0;
};

/// A host to send requests to; the network is not touched before SendRequest. Its session must outlive it.
class CHttpConnection {
 public:
  virtual ~CHttpConnection();

  /// A request for `objectPath`, to which a leading "/" is added where it has none. Bytes that may not stand in a
  /// request line are percent-encoded. INTERNET_FLAG_SECURE asks for https. With INTERNET_FLAG_TENTATIVE as well the
  /// connection may take 10 s, and the failure is ERROR_INTERNET_CANNOT_CONNECT where the host is known but no TLS has
  /// answered. Other flags mean nothing here. Throws CInternetException for more than 1 MiB.
  virtual std::unique_ptr<CHttpFile> OpenRequest(std::string_view verb, std::string_view objectPath,
                                                 std::uint32_t flags) = 0;
};

/// What all requests of the process share: agent, proxy, options, connections that are kept.
///
///     CInternetSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
///     auto connection = session.GetHttpConnection("example.org", 80, nullptr, nullptr);
///     auto request = connection->OpenRequest("GET", "/feed.xml", 0);
///     request->SendRequest();
///     while (std::size_t n = request->Read(buffer, sizeof buffer)) use(buffer, n);
///
/// Only http and https, HTTP/1.1 unless an option allows more. Any number of threads may have requests under way;
/// options are set before the first.
class CInternetSession {
 public:
  /// `agent` is the User-Agent of requests that bring none. `proxyName` ("host:port") and `proxyBypass` (hosts
  /// separated by commas) matter for INTERNET_OPEN_TYPE_PRECONFIG and INTERNET_OPEN_TYPE_PROXY; for the former the name
  /// may also give a proxy a scheme ("http=… https=…"). The network is not touched before the first request.
  CInternetSession(std::string agent, std::uintptr_t context, std::int32_t accessType, std::string proxyName,
                   std::string proxyBypass);
  CInternetSession(const CInternetSession&) = delete;
  CInternetSession& operator=(const CInternetSession&) = delete;
  virtual ~CInternetSession();

  /// Sets one of the INTERNET_OPTION values above; an unknown one is ignored.
  void SetOption(std::uint32_t option, std::uint32_t value);

  /// From now on OnStatusCallback is called, or no longer.
  void EnableStatusCallback(bool enable);

  /// `host` may be a name, an IPv4 address or an IPv6 address in brackets. An explicit port after it ("host:8080")
  /// replaces `port`. Names outside ASCII are UTF-8 and mapped to ASCII (RFC 5891). Credentials may be null; a user
  /// name with a line end is none. Throws CInternetException for a port outside 1 to 65535 and for a host text that is
  /// empty, has a name above 255 bytes, or holds, also once it is mapped, '@', '?', '#', a space or a control
  /// character.
  std::unique_ptr<CHttpConnection> GetHttpConnection(std::string_view host, std::uint16_t port, const char* userName,
                                                     const char* password);

  /// Sets libcurl up, if it is not; otherwise the first request does. For a thread that starts others which
  /// make requests: done by one of those while the process is ending, it could come between the exit handlers.
  static void SetUpNetwork();

  /// Cuts off the transfers of every session, from any thread, closes the connections that are kept, and lets no
  /// transfer begin any more; they fail with an error text. Until ResumeTransfers, which is for the module's next load.
  static void CutOffTransfers();
  static void ResumeTransfers();

  /// Whether the calling thread's transfers are cut off, by CutOffTransfers or together with their TransferGroup.
  static bool AreTransfersCutOff();

  /// Has `shutDown` called when the process ends or the library is unloaded, while libcurl and what it is built on
  /// still stand; it ends the threads that have requests under way. Afterwards transfers are cut off, also those of the
  /// host's own threads, which are waited for as long as it takes them to notice. Not called if no request was ever
  /// sent; may be called after the module's own end, so it must tolerate that. Null: nothing to call. Any thread.
  static void SetShutDown(void (*shutDown)());

  /// A request has reached `status`, in the order in which it happens, on the request's thread. `information` is the
  /// host name for the two name notices and the address for the connection notices, else null.
  virtual void OnStatusCallback(std::uintptr_t context, std::uint32_t status, const void* information,
                                std::uint32_t informationLength);

  /// Takes the text that a status callback has made. Does nothing.
  virtual void ReportStatus(const CString& text);

 private:
  std::unique_ptr<quillmoria::SessionState> state_;
};
