#pragma once

#include <gtest/gtest.h>

#include <string>

#include "net/FetchState.h"
#include "net/HTTPFetcher.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

/// Starts each test as a process starts: without a session.
class FetchTest : public ::testing::Test {
 protected:
  FetchTest() { forgetSession(); }

  void forgetSession() {
    if (quillmoria::fetchState) quillmoria::fetchState.destroy();
    quillmoria::fetchState.build();
    fetcher.PrepareFetch(base.name());
  }

  /// The status text and the body, as "status|body".
  std::string fetch(const std::string& url, const char* userName = nullptr, const char* password = nullptr) {
    std::string body = "untouched";
    const std::string status = fetcher.FetchURL(url, userName, password, &body);
    return status + "|" + body;
  }

  TemporaryBaseFolder base;
  LoopbackServer server;
  HTTPFetcher fetcher;
};

/// The header line that every request bears.
inline constexpr char kAcceptLine[] =
    "Accept: audio/x-aiff, audio/basic, audio/midi, audio/mpeg, audio/wav, image/jpeg, image/gif, image/jpg, "
    "image/png, image/mng, image/bmp, text/plain, text/html, text/htm, text/xml\r\n";
