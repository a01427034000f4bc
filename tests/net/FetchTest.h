#pragma once

#include <gmock/gmock.h>

#include <string>
#include <utility>

#include "net/FetchState.h"
#include "net/HTTPFetcher.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

/// Starts each test as a process starts: without a session.
class FetchTest : public ::testing::Test {
 protected:
  FetchTest() { restart(""); }

  /// Forgets the session; the next one finds these settings.
  void restart(const std::string& settings) {
    base.write("config/quillmoria.ini", settings);
    quillmoria::fetchState.build();
    fetcher.PrepareFetch(base.name());
  }

  /// The status text and the body, as "status|body".
  std::string fetch(const std::string& url, const char* userName = nullptr, const char* password = nullptr) {
    std::string body = "untouched";
    const std::string status = fetcher.FetchURL(url, userName, password, &body);
    return status + "|" + body;
  }

  /// Has `from` refuse with `refusal` what has no credentials.
  static void guard(LoopbackServer& from, const std::string& target, std::string refusal, std::string answer) {
    from.handle(target, [refusal = std::move(refusal), answer = std::move(answer)](const std::string& head) {
      return head.find("Authorization: ") == std::string::npos ? refusal : answer;
    });
  }

  TemporaryBaseFolder base;
  LoopbackServer server;
  HTTPFetcher fetcher;
};

/// The first request and the one to a redirect's target, which has the agent of the session.
inline std::string request(const std::string& target, const std::string& host, const std::string& more = "",
                           bool isRedirected = false) {
  const std::string accept =
      "Accept: audio/x-aiff, audio/basic, audio/midi, audio/mpeg, audio/wav, image/jpeg, image/gif, image/jpg, "
      "image/png, image/mng, image/bmp, text/plain, text/html, text/htm, text/xml\r\n";
  return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n" + more +
         (isRedirected ? "User-Agent: Quillmoria1.1\r\n" + accept : accept + "User-Agent: Quillmoria/1.1\r\n") + "\r\n";
}
