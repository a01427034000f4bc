#pragma once

#include <cstdint>
#include <string>

#include "platform/CString.h"

class CFile;
class HTTPFetchSubscriber;

/// Downloads one resource over HTTP or HTTPS; every download of the engine goes through it.
///
///     HTTPFetcher fetcher;
///     std::string body;
///     fetcher.PrepareFetch(baseFolder);
///     if (fetcher.FetchURL("http://example.org/news.rss", nullptr, nullptr, &body) == quillmoria::kStatusOk)
///     parse(body);
///
/// Holds nothing itself: session, verb, base folder and observers are the process's (FetchState). Any thread.
class HTTPFetcher {
 public:
  /// Sets the verb of requests to "GET" and the base folder whose settings file the first request of the process reads.
  void PrepareFetch(std::string baseFolder);

  /// Appends `subscriber`, not owned, to the fetch observers.
  void AddFetchSubscriber(HTTPFetchSubscriber* subscriber);

  /// Takes every entry of `subscriber` off the fetch observers.
  void RemoveFetchSubscriber(HTTPFetchSubscriber* subscriber);

  /// Fetches `url`, blocking, and puts the body, up to its first NUL, into `body`, every line ended by "\n". The
  /// credentials, each possibly null, are sent only if the server asks. Returns kStatusOk or a failure text; an empty
  /// text for an empty `url`, with `body` untouched, and when an exception had to be caught.
  std::string FetchURL(std::string url, const char* userName, const char* password, std::string* body);

  /// Requests `objectPath` from `host` and follows at most one redirect. A body goes into the open file `sinkFile`,
  /// which is closed on every outcome, or, where that is null, line by line to the end of `bodyText`. Returns a status
  /// text, also for proxy settings that cannot be read; lets through what else goes wrong while the process's session
  /// is set up.
  std::string SendHTTPRequest(const char* agent, const char* host, std::uint16_t port, CString objectPath,
                              CFile* sinkFile, CString* bodyText, const char* userName, const char* password,
                              bool secure);

 private:
  void ReportProgress(int stage);
};
