#include "modern/web/WebFetch.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "modern/web/StatusTexts.h"
#include "modern/web/WebState.h"
#include "net/FetchBudget.h"
#include "platform/CInternetException.h"
#include "platform/CInternetSession.h"
#include "platform/Text.h"
#include "quillmoria/CTime.h"
#include "quillmoria/StatusTexts.h"

namespace quillmoria {
namespace {

constexpr int kMaxRedirects = 10;
constexpr std::size_t kMaxValidatorBytes = 4096;
constexpr std::size_t kPieceBytes = std::size_t{64} << 10;
constexpr std::size_t kShortBody = std::size_t{1} << 20;  ///< not worth counting

enum HttpStatus : std::int32_t {
  kNotModified = 304,
  kProxyDenied = 407,
  kTooManyRequests = 429,
  kUnavailable = 503,
};

constexpr std::int32_t kDocuments[] = {200, 203, 226};
constexpr std::int32_t kRedirects[] = {301, 302, 303, 307, 308};
constexpr std::int32_t kPermanentRedirects[] = {301, 308};

template <class List>
bool isAmong(const List& list, std::int32_t status) {
  return std::ranges::find(list, status) != std::end(list);
}

constexpr std::pair<std::uint32_t, Outcome> kOutcomes[] = {
    {ERROR_NOT_ENOUGH_MEMORY, Outcome::NoMemory},
    {ERROR_FILE_TOO_LARGE, Outcome::TooLarge},
    {ERROR_INTERNET_INCORRECT_PASSWORD, Outcome::Denied},
    {ERROR_INTERNET_SECURITY_CHANNEL_ERROR, Outcome::TlsError},
    {ERROR_HTTP_INVALID_SERVER_RESPONSE, Outcome::HttpError},
    {ERROR_INTERNET_DECODING_FAILED, Outcome::HttpError},
};

/// One order on its way through redirects.
class WebFetch {
 public:
  explicit WebFetch(const WebOrder& order) : order_(order) {}

  WebAnswer run() {
    try {
      goTo(start());
      while (next_) askDecodedOrNot(*std::exchange(next_, std::nullopt));
    } catch (const CInternetException& error) {
      fail(error);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::system_error&) {
      throw std::bad_alloc();  // of descriptors
    } catch (const std::exception&) {
      end(Outcome::NetworkError, "The proxy's credentials in the settings file cannot be read");
    }
    return std::move(answer_);
  }

 private:
  struct Request {
    std::unique_ptr<CHttpConnection> connection;
    std::unique_ptr<CHttpFile> file;
  };

  /// The first address: the one that the document is known to have moved to, else the user's.
  WebUrl start() {
    home_ = order_.address.url.origin();
    if (!order_.movedTo.empty()) {
      if (std::optional<WebUrl> moved = WebUrl::parse(order_.movedTo)) {
        movedTo_ = order_.movedTo;
        return std::move(*moved);
      }
    }
    isTentative_ = order_.address.plainUrl.has_value();
    asked_ = order_.address.url.text();
    return order_.address.url;
  }

  /// Servers name codings that the body does not have, or that are none.
  void askDecodedOrNot(const WebUrl& url) {
    try {
      return ask(url);
    } catch (const CInternetException& error) {
      if (error.m_dwError != ERROR_INTERNET_DECODING_FAILED || std::exchange(isRaw_, true)) throw;
    }
    answer_.body.clear();
    ask(url);
  }

  void ask(const WebUrl& url) {
    const std::string origin = url.origin();
    answer_.asked = CTime::GetCurrentTime().GetTime();
    if (const std::int64_t until = webState->limitOf(origin)) return endUnasked(until);
    if (order_.requests && (*order_.requests)-- <= 0) return end(Outcome::NotAsked, "Too many requests were needed");
    const bool isConditional = !order_.validators.areNone() && order_.validators.url == url.text();
    const std::shared_ptr<const SharedSession> session = webState->session(order_.baseFolder);
    const Request request = open(*session, url, isConditional);
    if (!send(*request.file)) return;
    take(*request.file, url, isConditional);
  }

  Request open(const SharedSession& session, const WebUrl& url, bool isConditional) const {
    const bool isHome = url.origin() == home_;
    const bool hasOwn = !order_.userName.empty();
    const std::string& userName = hasOwn ? order_.userName : order_.address.userName;
    const std::string& password = hasOwn ? order_.password : order_.address.password;
    Request request;
    request.connection = session.session->GetHttpConnection(url.host, url.port, isHome ? userName.c_str() : nullptr,
                                                            isHome ? password.c_str() : nullptr);
    const std::uint32_t flags = (url.isSecure ? INTERNET_FLAG_SECURE : 0) |
                                (isTentative_ ? INTERNET_FLAG_TENTATIVE : 0) | (isRaw_ ? INTERNET_FLAG_RAW_DATA : 0);
    request.file = request.connection->OpenRequest("GET", url.object, flags);
    session.identifyToProxy(*request.file);
    addField(*request.file, "Accept", order_.accept);
    if (isConditional) {
      addField(*request.file, "If-None-Match", order_.validators.entityTag);
      addField(*request.file, "If-Modified-Since", order_.validators.lastModified);
    }
    return request;
  }

  static void addField(CHttpFile& file, std::string_view name, std::string_view value) {
    if (!value.empty()) file.AddRequestHeaders(std::string(name).append(": ").append(value).append("\r\n"), 0);
  }

  /// False if the plain address is to be asked instead.
  bool send(CHttpFile& file) {
    try {
      file.SendRequest();
      return true;
    } catch (const CInternetException& error) {
      if (const std::int32_t status = file.QueryInfoStatusCode()) answer_.httpStatus = status;
      if (!isTentative_ || error.m_dwError != ERROR_INTERNET_CANNOT_CONNECT) throw;
    }
    isTentative_ = false;
    home_ = order_.address.plainUrl->origin();
    asked_ = order_.address.plainUrl->text();
    goTo(*order_.address.plainUrl);
    return false;
  }

  void take(CHttpFile& file, const WebUrl& url, bool isConditional) {
    isTentative_ = false;
    const std::int32_t status = answer_.httpStatus = file.QueryInfoStatusCode();
    answer_.fields = ResponseFields(file.QueryInfoRawHeaders());
    if (isAmong(kRedirects, status)) return follow(url);
    if (status == kNotModified && isConditional) return endAt(url, Outcome::NotModified);
    if (!isAmong(kDocuments, status)) return refuse(url);
    readBody(file);
    endAt(url, Outcome::Fetched);
  }

  void follow(const WebUrl& from) {
    const std::string_view location = answer_.fields.first("location");
    if (location.empty()) return end(Outcome::HttpError, "The server redirects to no address");
    std::optional<WebUrl> target = WebUrl::parse(absoluteUrl(location, from.text()));
    if (!target) return end(Outcome::HttpError, "The server redirects to what is no web address");
    if (visited_.contains(target->text())) return end(Outcome::HttpError, "The server redirects in a circle");
    if (++redirects_ > kMaxRedirects) return end(Outcome::HttpError, "The server redirects too often");
    isMoved_ = isMoved_ && isAmong(kPermanentRedirects, answer_.httpStatus);
    if (isMoved_) movedTo_ = target->text();
    goTo(std::move(*target));
  }

  void goTo(WebUrl url) {
    visited_.insert(url.text());
    next_ = std::move(url);
  }

  void refuse(const WebUrl& url) {
    const std::int32_t status = answer_.httpStatus;
    Outcome outcome = outcomeOf(status);
    if (status == kTooManyRequests || status == kUnavailable) {
      const std::string_view retryAfter = answer_.fields.first("retry-after");
      answer_.notBefore = webState->noteRefusal(url.origin(), status, retryAfter, order_.pull);
      if (answer_.notBefore != 0) outcome = Outcome::RateLimited;
    }
    end(outcome, statusText(status));
  }

  void readBody(CHttpFile& file) {
    std::string& body = answer_.body;
    reserve(std::min(file.QueryInfoContentLength(), order_.maxBytes));
    const auto piece = std::make_unique<char[]>(kPieceBytes);
    while (const std::size_t count = file.Read(piece.get(), kPieceBytes)) {
      if (count > order_.maxBytes - body.size()) throw CInternetException("", ERROR_FILE_TOO_LARGE);
      if (body.size() + count > admitted_) reserve(body.size() + count);
      body.append(piece.get(), count);
    }
    file.Close();
  }

  /// Makes room for a body of `bytes`.
  void reserve(std::size_t bytes) {
    if (order_.isCounted && bytes > kShortBody && !FetchBudget::admits(bytes)) {
      throw CInternetException("The transfer was cut off", ERROR_INTERNET_OPERATION_CANCELLED);
    }
    answer_.body.reserve(bytes);
    admitted_ = std::max(bytes, kShortBody);
  }

  void endUnasked(std::int64_t until) {
    answer_.notBefore = until;
    end(Outcome::NotAsked, notAskedText(until));
  }

  void endAt(const WebUrl& url, Outcome outcome) {
    answer_.finalUrl = url.text();
    answer_.origin = url.origin();
    if (movedTo_ != order_.address.url.text()) answer_.movedTo = movedTo_;
    answer_.lastingUrl = movedTo_.empty() ? asked_ : movedTo_;
    end(outcome, kStatusOk);
  }

  void end(Outcome outcome, std::string text) {
    answer_.outcome = outcome;
    answer_.statusMessage = std::move(text);
  }

  void fail(const CInternetException& error) {
    const auto known = std::ranges::find(kOutcomes, error.m_dwError, &std::pair<std::uint32_t, Outcome>::first);
    const Outcome outcome = known != std::end(kOutcomes) ? known->second : Outcome::NetworkError;
    answer_.body = {};
    answer_.wasCutOff = error.m_dwError == ERROR_INTERNET_OPERATION_CANCELLED;
    if (outcome == Outcome::Denied) answer_.httpStatus = kProxyDenied;
    end(outcome, textOf(outcome, error));
  }

  static std::string textOf(Outcome outcome, const CInternetException& error) {
    if (outcome == Outcome::TooLarge) return "The document is too large";
    if (outcome == Outcome::Denied) return statusText(kProxyDenied);
    return std::string(trimLineBreaks(error.what()));
  }

  const WebOrder& order_;
  WebAnswer answer_;
  std::optional<WebUrl> next_;
  std::set<std::string> visited_;
  int redirects_ = 0;
  std::string asked_;         ///< the first address
  std::string home_;          ///< the server that the credentials were given for
  bool isTentative_ = false;  ///< the next request is for an address that was given without a scheme
  bool isRaw_ = false;        ///< nothing is decoded
  bool isMoved_ = true;       ///< all redirects so far were for good
  std::string movedTo_;       ///< where the last one of those led
  std::size_t admitted_ = 0;  ///< bytes of a body
};

bool maySendBack(std::string_view value) {
  return !value.empty() && value != "*" && value.size() <= kMaxValidatorBytes &&
         std::ranges::none_of(value, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
}

}  // namespace

WebAnswer fetchFromWeb(const WebOrder& order) { return WebFetch(order).run(); }

Validators validatorsOf(const ResponseFields& fields, std::string url) {
  Validators validators{std::move(url), "", ""};
  const std::string_view entityTag = fields.first("etag");
  const std::string_view lastModified = fields.first("last-modified");
  if (maySendBack(entityTag)) validators.entityTag = entityTag;
  if (maySendBack(lastModified)) validators.lastModified = lastModified;
  return validators;
}

}  // namespace quillmoria
