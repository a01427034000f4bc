#include "net/HTTPFetcher.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "net/AgentName.h"
#include "net/FetchBudget.h"
#include "net/FetchState.h"
#include "platform/AfxParseURL.h"
#include "platform/CFile.h"
#include "platform/CInternetSession.h"
#include "quillmoria/HTTPFetchSubscriber.h"
#include "quillmoria/StatusTexts.h"

namespace quillmoria {

constinit ModuleObject<FetchState> fetchState;

void FetchState::close() {
  std::shared_ptr<const SharedSession> last;
  {
    const MutexLock lock(setUpMutex);
    last.swap(session);
  }
  const MutexLock lock(mutex);
  std::string().swap(requestVerb);
  std::string().swap(baseFolder);
  std::vector<HTTPFetchSubscriber*>().swap(subscribers);
}

}  // namespace quillmoria

namespace {

using quillmoria::fetchState;
using quillmoria::MutexLock;
using quillmoria::SharedSession;

// Compatibility.
constexpr std::string_view kUserAgentLine = "User-Agent: Quillmoria/1.1\r\n";
constexpr std::string_view kAcceptLine =
    "Accept: audio/x-aiff, audio/basic, audio/midi, audio/mpeg, audio/wav, image/jpeg, image/gif, image/jpg, "
    "image/png, image/mng, image/bmp, text/plain, text/html, text/htm, text/xml\r\n";
constexpr std::string_view kLocation = "Location: ";
constexpr std::size_t kErrorTextBytes = 1024;
constexpr std::size_t kSinkPieceBytes = 1999;
constexpr std::size_t kShortBody = std::size_t{1} << 20;

enum HttpStatus : std::int32_t {
  kOk = 200,
  kMovedPermanently = 301,
  kFound = 302,
  kSeeOther = 303,
  kDenied = 401,
};

/// Compatibility.
bool isRedirect(std::int32_t status) { return status == kMovedPermanently || status == kFound || status == kSeeOther; }

/// The process's session, set up if there is none; on an exception there is still none. Compatibility: what
/// the first fetch finds holds for all.
std::shared_ptr<const SharedSession> sharedSession(const char* agent) {
  const std::string baseFolder = [] {
    const MutexLock lock(fetchState->mutex);
    return fetchState->baseFolder;
  }();
  const MutexLock settingUp(fetchState->setUpMutex);
  if (!fetchState->session) {
    std::shared_ptr<SharedSession> shared = quillmoria::makeSession(agent, baseFolder);
    shared->session->EnableStatusCallback(true);
    fetchState->session = std::move(shared);
  }
  return fetchState->session;
}

/// Closes the file at the end of the scope, whatever ends it.
class SinkCloser {
 public:
  explicit SinkCloser(CFile* file) : file_(file) {}
  SinkCloser(const SinkCloser&) = delete;
  SinkCloser& operator=(const SinkCloser&) = delete;
  ~SinkCloser() {
    if (!file_) return;
    try {
      file_->Close();
    } catch (...) {
      // Another failure is on its way already: without one the file has been closed before.
    }
  }

 private:
  CFile* file_;
};

/// One download over the process's session: the first request and the one that a redirect leads to.
class Download {
 public:
  Download(std::shared_ptr<const SharedSession> shared, std::string verb, const char* userName, const char* password,
           bool isSecure, CFile* sinkFile, CString* bodyText)
      : shared_(std::move(shared)),
        verb_(std::move(verb)),
        userName_(userName),
        password_(password),
        flags_(INTERNET_FLAG_EXISTING_CONNECT | INTERNET_FLAG_NO_CACHE_WRITE | (isSecure ? INTERNET_FLAG_SECURE : 0)),
        sinkFile_(sinkFile),
        bodyText_(bodyText) {}

  /// Returns the status text. Calls `progress` after the first request and after each line of a body.
  template <class Progress>
  std::string run(std::string_view host, std::uint16_t port, std::string_view objectPath, const Progress& progress) {
    std::string target;
    {
      const Request request = open(host, port, objectPath);
      request.file->AddRequestHeaders(kUserAgentLine, HTTP_ADDREQ_FLAG_ADD_IF_NEW);
      request.file->SendRequest();
      progress();
      const std::int32_t status = request.file->QueryInfoStatusCode();
      if (status == kDenied) return quillmoria::kStatusDenied;
      if (status == kOk) readBody(*request.file, progress);
      if (!isRedirect(status)) return quillmoria::kStatusOk;  // Compatibility.

      std::optional<std::string> found = redirectTarget(request.file->QueryInfoRawHeaders());
      if (!found) return quillmoria::kStatusRedirectWithoutTarget;
      target = std::move(*found);
    }
    return follow(target, progress);
  }

 private:
  struct Request {
    std::unique_ptr<CHttpConnection> connection;
    std::unique_ptr<CHttpFile> file;
  };

  Request open(std::string_view host, std::uint16_t port, std::string_view objectPath) const {
    Request request;
    // Compatibility.
    request.connection = shared_->session->GetHttpConnection(host, port, userName_, password_);
    request.file = request.connection->OpenRequest(verb_, objectPath, flags_);
    request.file->AddRequestHeaders(kAcceptLine, HTTP_ADDREQ_FLAG_ADD_IF_NEW);
    shared_->identifyToProxy(*request.file);
    return request;
  }

  /// Compatibility.
  static std::optional<std::string> redirectTarget(std::string_view headers) {
    const std::size_t marker = headers.find(kLocation);
    if (marker == std::string_view::npos) return std::nullopt;
    std::string_view target = headers.substr(marker + kLocation.size());
    if (const std::size_t lineFeed = target.find('\n'); lineFeed != 0) target = target.substr(0, lineFeed);
    if (target.ends_with('\r')) target.remove_suffix(1);
    return std::string(target);
  }

  /// Compatibility.
  template <class Progress>
  std::string follow(std::string_view target, const Progress& progress) {
    CString server;
    CString object;
    std::uint16_t port = 0;
    if (!AfxParseURL(target, server, object, port)) return quillmoria::kStatusRedirectRefused;
    const Request request = open(server, port, object);
    request.file->SendRequest();
    if (request.file->QueryInfoStatusCode() != kOk) return quillmoria::kStatusRedirectFailed;
    readBody(*request.file, progress);
    return quillmoria::kStatusOk;
  }

  template <class Progress>
  void readBody(CHttpFile& file, const Progress& progress) {
    sinkFile_ ? readIntoFile(file) : readLines(file, progress);
    file.Close();
  }

  void readIntoFile(CHttpFile& file) {
    char piece[kSinkPieceBytes];
    while (const std::size_t count = file.Read(piece, sizeof piece)) sinkFile_->Write(piece, count);
    sinkFile_->Close();
  }

  template <class Progress>
  void readLines(CHttpFile& file, const Progress& progress) {
    // Compatibility.
    constexpr std::size_t kLastLineFeed = 1;
    reserve(file.QueryInfoContentLength() + kLastLineFeed);
    while (file.ReadString(*bodyText_)) {
      progress();
      *bodyText_ += '\n';
      if (bodyText_->size() > admittedBytes_) reserve(bodyText_->size());
    }
  }

  /// Makes room for `more` of the body. One that is short is not worth counting.
  void reserve(std::size_t more) {
    const std::size_t bytes = bodyText_->size() + more;
    if (bytes > kShortBody && !quillmoria::FetchBudget::admits(bytes)) {
      throw CInternetException("The transfer was cut off");
    }
    bodyText_->reserve(bytes);
    admittedBytes_ = std::max(bytes, kShortBody);
  }

  const std::shared_ptr<const SharedSession> shared_;
  std::string verb_;
  const char* userName_;
  const char* password_;
  std::uint32_t flags_;
  CFile* sinkFile_;
  CString* bodyText_;
  std::size_t admittedBytes_ = 0;
};

std::string requestVerb() {
  const MutexLock lock(fetchState->mutex);
  return fetchState->requestVerb;
}

std::string textOf(const CInternetException& error) {
  std::string text;
  // Compatibility.
  return error.GetErrorMessage(text, kErrorTextBytes) ? text : "Some crazy unknown error";
}

}  // namespace

void HTTPFetcher::PrepareFetch(std::string baseFolder) {
  const MutexLock lock(fetchState->mutex);
  fetchState->requestVerb = "GET";
  fetchState->baseFolder = std::move(baseFolder);
}

void HTTPFetcher::AddFetchSubscriber(HTTPFetchSubscriber* subscriber) {
  const MutexLock lock(fetchState->mutex);
  fetchState->subscribers.push_back(subscriber);
}

void HTTPFetcher::RemoveFetchSubscriber(HTTPFetchSubscriber* subscriber) {
  const MutexLock lock(fetchState->mutex);
  std::erase(fetchState->subscribers, subscriber);
}

std::string HTTPFetcher::FetchURL(std::string url, const char* userName, const char* password, std::string* body) {
  if (url.empty()) return "";  // Compatibility.

  std::string status;
  CString bodyText;
  try {
    // Compatibility.
    std::string_view address = url;
    const bool isSecure = address.starts_with("https://");
    if (isSecure || address.starts_with("http://")) address.remove_prefix(address.find("//") + 2);
    const std::size_t slash = std::min(address.find('/'), address.size());
    const std::string host(address.substr(0, slash));
    const CString objectPath(address.substr(std::min(slash + 1, address.size())));
    status = SendHTTPRequest(kAgentName, host.c_str(), isSecure ? 443 : 80, objectPath, nullptr, &bodyText, userName,
                             password, isSecure);
  } catch (...) {
    std::fputs("unhandled exception\n", stdout);  // Compatibility.
  }
  // Compatibility.
  bodyText.resize(std::min(bodyText.find('\0'), bodyText.size()));
  *body = std::move(bodyText);
  return status;
}

std::string HTTPFetcher::SendHTTPRequest(const char* agent, const char* host, std::uint16_t port, CString objectPath,
                                         CFile* sinkFile, CString* bodyText, const char* userName, const char* password,
                                         bool secure) {
  const SinkCloser closer(sinkFile);
  ReportProgress(0);
  std::string status;
  try {
    std::shared_ptr<const SharedSession> shared = sharedSession(agent);
    Download download(std::move(shared), requestVerb(), userName, password, secure, sinkFile, bodyText);
    status = download.run(host, port, objectPath, [this] { ReportProgress(1); });
  } catch (const CInternetException& error) {
    return textOf(error);
  }
  ReportProgress(2);
  return status;
}

/// Compatibility.
void HTTPFetcher::ReportProgress(int) {}
