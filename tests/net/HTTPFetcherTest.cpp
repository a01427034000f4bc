#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <thread>
#include <vector>

#include "net/FetchTest.h"
#include "platform/CFile.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;
using std::string_literals::operator""s;

namespace {

class HTTPFetcherTest : public FetchTest {
 protected:
  std::string hostLine() const { return "Host: 127.0.0.1:" + std::to_string(server.port()) + "\r\n"; }
  std::string firstRequest(const std::string& target, const std::string& authorization = "") const {
    return "GET " + target + " HTTP/1.1\r\n" + hostLine() + authorization + kAcceptLine +
           "User-Agent: Quillmoria/1.1\r\n\r\n";
  }
};

TEST_F(HTTPFetcherTest, SendsExactlyTheseBytesAndToARedirectsTargetTheAgentOfTheSession) {
  LoopbackServer other;
  other.serve("/new?a=b", "moved\n");
  server.answer("/old", LoopbackServer::response("302 Found", "Location: " + other.url("/new?a=b") + "\r\n", "gone"));

  EXPECT_EQ(fetch(server.url("/old")), "OK|moved\n");
  EXPECT_THAT(server.requests(), ElementsAre(firstRequest("/old")));
  EXPECT_THAT(other.requests(), ElementsAre("GET /new?a=b HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(other.port()) +
                                            "\r\nUser-Agent: Quillmoria1.1\r\n" + kAcceptLine + "\r\n"));
}

TEST_F(HTTPFetcherTest, TurnsEachResponseIntoAStatusTextAndABody) {
  server.serve("/target", "at the target");
  server.answer("/again", LoopbackServer::response("301 Moved", "Location: " + server.url("/target") + "\r\n", ""));
  const auto redirect = [&](const std::string& status, const std::string& header) {
    return LoopbackServer::response(status, header + "\r\n", "");
  };
  const std::string location = "Location: " + server.url("/target");
  const std::vector<std::pair<std::string, std::string>> rows = {
      {LoopbackServer::response("200 OK", "", "one\r\n\ntwo\nthree"), "OK|one\r\n\ntwo\nthree\n"},
      {LoopbackServer::response("200 OK", "", "\n"), "OK|\n"},
      {LoopbackServer::response("200 OK", "", ""), "OK|"},
      {LoopbackServer::response("200 OK", "", "before\0behind"s), "OK|before"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nd\n\r\n0\r\nLocation: x\r\n\r\n",
       "OK|abcd\n"},
      {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early\r\nLink: x\r\n\r\n" +
           LoopbackServer::response("200 OK", "", "late"),
       "OK|late\n"},
      {LoopbackServer::response("204 No Content", "", ""), "OK|"},
      {LoopbackServer::response("404 Not Found", "", "sorry"), "OK|"},
      {LoopbackServer::response("500 Oops", "", "sorry"), "OK|"},
      {LoopbackServer::response("401 No", "", "who are you"), "HTTP_STATUS_DENIED|"},
      {LoopbackServer::response("407 No", "Proxy-Authenticate: Basic realm=\"x\"\r\n", "who"), "OK|"},
      {redirect("301 Moved", location), "OK|at the target\n"},
      {redirect("303 Other", location), "OK|at the target\n"},
      {redirect("307 Moved", location), "OK|"},
      {redirect("302 Found", "Content-" + location), "OK|at the target\n"},  // the marker may stand within a line
      {redirect("302 Found", "location: " + server.url("/target")), "Redirected location not found.|"},
      {redirect("302 Found", "Location:" + server.url("/target")), "Redirected location not found.|"},
      {redirect("302 Found", "Location: /target"), "Redirected location failed to load.|"},
      {redirect("302 Found", "Location: "), "Redirected location failed to load.|"},
      {redirect("302 Found", "Location: file:///etc/passwd"), "Redirected location failed to load.|"},
      {redirect("302 Found", "Location: " + server.url("/again")), "Loading from the redirected location failed.|"},
      {redirect("302 Found", "Location: " + server.url("/none")), "Loading from the redirected location failed.|"},
  };
  for (const auto& [response, outcome] : rows) {
    server.answer("/row", response);
    EXPECT_EQ(fetch(server.url("/row")), outcome) << response;
  }
}

TEST_F(HTTPFetcherTest, SplitsAnAddressIntoServerAndRequestTarget) {
  const std::string port = std::to_string(server.port());
  const std::pair<std::string, std::string> rows[] = {
      {"http://127.0.0.1:" + port, "/"},
      {"127.0.0.1:" + port + "/no/scheme", "/no/scheme"},
      {"http://127.0.0.1:" + port + "/a/../b/./c?d=e&f=[g]", "/a/../b/./c?d=e&f=[g]"},
      {"http://127.0.0.1:" + port + "/a b\"<>#\xC3\xA4\x7f%41%", "/a%20b%22%3C%3E%23%C3%A4%7F%41%"},
      {"http://127.0.0.1:" + port + "/a HTTP/1.1\r\nX: y", "/a%20HTTP/1.1%0D%0AX:%20y"},
  };
  for (const auto& [url, target] : rows) {
    EXPECT_EQ(fetch(url), "OK|");
    EXPECT_EQ(server.requests().back(), firstRequest(target));
  }
  const std::size_t requests = server.requests().size();
  for (const std::string& url : {"HTTP://127.0.0.1:" + port + "/", "http://127.0.0.1:0/"s, "http://127.0.0.1:65536/"s,
                                 "http://127.0.0.1:/"s, "http://me@127.0.0.1:" + port + "/", "http:///x"s,
                                 "http://127.0.0.1:" + port + "?x/", "http://a b/"s, "http://[::1/"s}) {
    EXPECT_EQ(fetch(url), "The server name is invalid|") << url;
  }
  EXPECT_EQ(fetch(""), "|untouched");
  EXPECT_EQ(server.requests().size(), requests);
}

TEST_F(HTTPFetcherTest, AnswersARefusalWithCredentialsOnceAndKeepsThemBackUntilThen) {
  const auto guard = [&](const std::string& target, const std::string& challenge, bool isForgiving) {
    server.handle(target, [=](const std::string& head) {
      const bool isKnown = isForgiving && head.find("Authorization: ") != std::string::npos;
      return isKnown ? LoopbackServer::response("200 OK", "", "in")
                     : LoopbackServer::response("401 No", "WWW-Authenticate: " + challenge + "\r\n", "out");
    });
  };
  guard("/basic", "Basic realm=\"r\"", true);
  guard("/digest", "Digest realm=\"r\", nonce=\"n\", qop=\"auth\"", true);
  guard("/wrong", "Basic realm=\"r\"", false);
  guard("/stale", "Digest realm=\"r\", nonce=\"n\", stale=true", false);
  guard("/unknown", "Negotiate", false);

  EXPECT_EQ(fetch(server.url("/basic"), "me", "secret"), "OK|in\n");
  EXPECT_THAT(server.requests(),
              ElementsAre(firstRequest("/basic"), firstRequest("/basic", "Authorization: Basic bWU6c2VjcmV0\r\n")));
  EXPECT_EQ(fetch(server.url("/digest"), "me", "secret"), "OK|in\n");
  EXPECT_THAT(server.requests(), SizeIs(4));
  EXPECT_EQ(server.requests()[2], firstRequest("/digest"));
  EXPECT_THAT(server.requests()[3],
              HasSubstr("Authorization: Digest username=\"me\", realm=\"r\", nonce=\"n\", uri=\"/digest\""));
  EXPECT_EQ(server.connections(), 1);

  for (const auto& [target, requests] : {std::pair{"/wrong", 2}, {"/stale", 2}, {"/unknown", 1}}) {
    const std::size_t before = server.requests().size();
    EXPECT_EQ(fetch(server.url(target), "me", "secret"), "HTTP_STATUS_DENIED|") << target;
    EXPECT_EQ(server.requests().size() - before, static_cast<std::size_t>(requests)) << target;
  }
  EXPECT_EQ(fetch(server.url("/basic")), "HTTP_STATUS_DENIED|");
  EXPECT_EQ(server.requests().back(), firstRequest("/basic"));
}

TEST_F(HTTPFetcherTest, FetchesFiftyTimesFromOneServerOverOneConnection) {
  server.serve("/feed", std::string(100'000, 'x'));
  server.answer("/none", LoopbackServer::response("404 Not Found", "", "sorry"));
  for (int i = 0; i < 50; ++i) EXPECT_THAT(fetch(server.url(i % 2 ? "/feed" : "/none")), StartsWith("OK|"));
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(HTTPFetcherTest, SetsUpOneSessionForFirstFetchesThatRace) {
  server.serve("/feed", "x");
  std::array<FetchSession*, 8> seen{};
  std::vector<std::thread> threads;
  for (FetchSession*& session : seen) {
    threads.emplace_back([&] {
      EXPECT_EQ(fetch(server.url("/feed")), "OK|x\n");
      session = quillmoria::fetchState->session.get();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(seen, ::testing::Each(quillmoria::fetchState->session.get()));
}

TEST_F(HTTPFetcherTest, TriesAFailedSetUpAgainAndReadsTheSettingsNeverAfterIt) {
  server.serve("/feed", "x");
  const std::string proxied = "[Proxy]\nType=3\nServer=127.0.0.1\nPort=1\n";
  base.write("config/quillmoria.ini", proxied + "Credentials=A\n");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(fetch(server.url("/feed")), "|");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "unhandled exception\n");
  EXPECT_FALSE(quillmoria::fetchState->session);

  base.write("config/quillmoria.ini", "");
  EXPECT_EQ(fetch(server.url("/feed")), "OK|x\n");
  base.write("config/quillmoria.ini", proxied);
  EXPECT_EQ(fetch(server.url("/feed")), "OK|x\n");
}

TEST_F(HTTPFetcherTest, PutsABodyIntoTheSinkFileAndClosesItOnEveryOutcome) {
  const std::string image("\x89PNG\r\n\0\n", 8);
  server.serve("/image", image + std::string(5000, 'i'));
  server.talk("/cut", [](const std::string&, const LoopbackServer::Send& send) {
    send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\npart");
    return false;
  });
  const auto closedAfter = [&](const std::string& path, std::uint16_t port) {
    CFile file;
    EXPECT_TRUE(file.Open(base.name() + "\\feed_imgs\\image", CFile::modeCreate));
    const std::string status =
        fetcher.SendHTTPRequest("Agent", "127.0.0.1", port, path, &file, nullptr, nullptr, nullptr, false);
    EXPECT_THROW(file.Write("x", 1), CFileException) << path;
    return status;
  };
  EXPECT_EQ(closedAfter("image", server.port()), "OK");
  EXPECT_EQ(base.read("feed_imgs/image"), image + std::string(5000, 'i'));
  EXPECT_EQ(closedAfter("none", server.port()), "OK");
  EXPECT_EQ(base.read("feed_imgs/image"), "");
  EXPECT_THAT(closedAfter("cut", server.port()), HasSubstr("transfer closed"));
  EXPECT_EQ(base.read("feed_imgs/image"), "part");
  EXPECT_THAT(closedAfter("image", 0), HasSubstr("Failed to connect"));

  forgetSession();
  base.write("config/quillmoria.ini", "[Proxy]\nCredentials=A\n");
  EXPECT_THROW(closedAfter("image", server.port()), std::runtime_error);
}

class RecordingSession : public FetchSession {
 public:
  using FetchSession::FetchSession;
  void ReportStatus(const CString& text) override { texts.push_back(text); }
  std::vector<std::string> texts;
};

TEST(FetchSessionTest, PutsEachStatusIntoWords) {
  RecordingSession session("Agent", 1, "", "");
  for (const std::uint32_t status : {10U, 11U, 20U, 21U, 30U, 31U, 40U, 41U, 50U, 51U, 60U, 70U, 100U, 110U, 99U}) {
    session.OnStatusCallback(1, status, "name", 4);
  }
  EXPECT_THAT(session.texts,
              ElementsAre("Resolving name name", "Name resolved name", "Connecting to socket address",
                          "Connected to socket address", "Sending request", "Request sent", "Response received",
                          "Closing the connection to the server", "Connection to the server closed", "Handle created",
                          "Request complete", "Being redirected", "Unknown status: 99"));
}

TEST(FetchSessionTest, HearsOfARequestsStepsInTheirOrder) {
  LoopbackServer server;
  server.answer("/last", LoopbackServer::response("200 OK", "Connection: close\r\n", ""));
  RecordingSession session("Agent", 1, "", "");
  session.EnableStatusCallback(true);
  const auto request =
      session.GetHttpConnection("localhost", server.port(), nullptr, nullptr)->OpenRequest("GET", "last", 0);
  request->SendRequest();
  request->Close();
  // A name may have several addresses, each of which is tried.
  const auto again = std::ranges::unique(session.texts);
  session.texts.erase(again.begin(), again.end());
  EXPECT_THAT(session.texts, ElementsAre("Handle created", "Resolving name localhost", "Name resolved localhost",
                                         "Connecting to socket address", "Connected to socket address",
                                         "Sending request", "Request sent", "Response received",
                                         "Closing the connection to the server", "Connection to the server closed"));
}

}  // namespace
