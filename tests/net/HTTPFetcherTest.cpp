#include <algorithm>
#include <array>
#include <regex>
#include <thread>
#include <vector>

#include "net/FetchTest.h"
#include "platform/CFile.h"
#include "support/Table.h"

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

class HTTPFetcherTest : public FetchTest {
 protected:
  /// `text` with the server's name and port in place of "HOST".
  std::string here(const std::string& text) const { return std::regex_replace(text, std::regex("HOST"), host); }

  const std::string host = "127.0.0.1:" + std::to_string(server.port());
};

TEST_F(HTTPFetcherTest, SendsExactlyTheseBytesAndToARedirectsTargetTheAgentOfTheSession) {
  server.serve("/new?a=b", "moved\n");
  server.answer("/old", LoopbackServer::response("302 Found", here("Location: http://HOST/new?a=b\r\n"), "gone"));
  EXPECT_EQ(fetch(server.url("/old")), "OK|moved\n");
  EXPECT_THAT(server.requests(), ElementsAre(request("/old", host), request("/new?a=b", host, "", true)));
}

TEST_F(HTTPFetcherTest, TurnsEachResponseIntoAStatusTextAndABodyAndKeepsTheConnection) {
  server.serve("/target", "at the target");
  server.answer("/again", LoopbackServer::response("301 Moved", here("Location: http://HOST/target\r\n"), ""));
  for (const auto& [response, outcome] : readTable<2>("net/responses.tsv")) {
    server.answer("/row", here(response));
    EXPECT_EQ(fetch(server.url("/row")), outcome) << response;
  }
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(HTTPFetcherTest, SplitsAnAddressIntoServerAndRequestTarget) {
  for (const auto& [address, outcome] : readTable<2>("net/addresses.tsv")) {
    const std::size_t before = server.requests().size();
    const std::string status = fetch(here(address));
    EXPECT_EQ(server.requests().size() == before ? status : server.requests().back(),
              outcome.front() == '/' ? request(outcome, host) : outcome + "|");
  }
  EXPECT_EQ(fetch(""), "|untouched");
  EXPECT_EQ(fetch("http://" + std::string(256, 'h') + "/"), "The server name is invalid|");
  EXPECT_EQ(fetch(server.url("/" + std::string((1 << 20) + 1, 'x'))), "The address is too long|");
}

TEST_F(HTTPFetcherTest, AnswersARefusalWithCredentialsOnceAndKeepsThemBackUntilThen) {
  for (const auto& [challenge, entry, outcome, authorization] : readTable<4>("net/challenges.tsv")) {
    const std::string refusal = LoopbackServer::response("401 No", "WWW-Authenticate: " + challenge + "\r\n", "out");
    guard(server, "/row", refusal, entry == "in" ? LoopbackServer::response("200 OK", "", "in") : refusal);
    const std::size_t before = server.requests().size();
    EXPECT_EQ(fetch(server.url("/row"), "me", "secret"), outcome) << challenge;
    const auto requests = server.requests();
    EXPECT_EQ(requests.size() - before, authorization.empty() ? 1 : 2) << challenge;
    EXPECT_EQ(requests[before], request("/row", host));
    EXPECT_THAT(requests.back(), HasSubstr(authorization));
    EXPECT_TRUE(server.connections() == 1 || entry == "out" || authorization.empty()) << challenge;
  }
  EXPECT_EQ(fetch(server.url("/row")), "HTTP_STATUS_DENIED|");
  EXPECT_EQ(server.requests().back(), request("/row", host));
  const std::string refusal = LoopbackServer::response("401 No", "WWW-Authenticate: Basic realm=\"r\"\r\n", "");
  guard(server, "/target", refusal, LoopbackServer::response("200 OK", "", "in"));
  server.answer("/moved", LoopbackServer::response("302 Found", here("Location: http://HOST/target\r\n"), ""));
  EXPECT_EQ(fetch(server.url("/moved"), "me", "secret"), "OK|in\n");
}

TEST_F(HTTPFetcherTest, SetsUpOneSessionForFirstFetchesThatRace) {
  server.serve("/feed", "x");
  std::array<FetchSession*, 8> seen{};
  std::vector<std::thread> threads;
  for (FetchSession*& session : seen) {
    threads.emplace_back([&] {
      EXPECT_EQ(fetch(server.url("/feed")), "OK|x\n");
      session = quillmoria::fetchState->session->session.get();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(seen, ::testing::Each(quillmoria::fetchState->session->session.get()));
}

TEST_F(HTTPFetcherTest, TriesAFailedSetUpAgainAndReadsTheSettingsNeverAfterIt) {
  server.serve("/feed", "x");
  const std::string proxied = "[Proxy]\nType=3\nServer=127.0.0.1\nPort=1\n";
  restart(proxied + "Credentials=A\n");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(fetch(server.url("/feed")), "|");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "unhandled exception\n");
  for (const std::string& settings : {std::string(), proxied}) {
    base.write("config/quillmoria.ini", settings);
    EXPECT_EQ(fetch(server.url("/feed")), "OK|x\n") << settings;
  }
}

TEST_F(HTTPFetcherTest, PutsABodyIntoTheSinkFileAndClosesItOnEveryOutcome) {
  const std::string image = readSample("images/red.png");
  server.serve("/image", image);
  server.talk("/cut", [](const std::string&, const LoopbackServer::Send& send) {
    return send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\npart") && false;
  });
  const auto outcome = [&](const std::string& path, std::uint16_t port) {
    CFile file;
    EXPECT_TRUE(file.Open(base.name() + "\\feed_imgs\\image", CFile::modeReplace));
    std::string status;
    try {
      status = fetcher.SendHTTPRequest("Agent", "127.0.0.1", port, path, &file, nullptr, nullptr, nullptr, false);
    } catch (const std::runtime_error&) {
      status = "exception";
    }
    EXPECT_THROW(file.Write("x", 1), CFileException) << path;
    return status + "|" + base.read("feed_imgs/image");
  };
  EXPECT_EQ(outcome("image", server.port()), "OK|" + image);
  EXPECT_EQ(outcome("none", server.port()), "OK|");
  EXPECT_THAT(outcome("cut", server.port()), ContainsRegex("transfer closed.*\\|part"));
  EXPECT_THAT(outcome("image", 0), HasSubstr("Failed to connect"));
  restart("[Proxy]\nCredentials=A\n");
  EXPECT_EQ(outcome("image", server.port()), "exception|");
}

class RecordingSession : public FetchSession {
 public:
  using FetchSession::FetchSession;
  void ReportStatus(const CString& text) override { texts.push_back(text); }
  std::vector<std::string> texts;
};

TEST(FetchSessionTest, PutsARequestsStepsIntoWordsInTheirOrder) {
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
  for (const std::uint32_t untold : {100U, 110U, 99U}) session.OnStatusCallback(1, untold, "", 0);
  EXPECT_THAT(session.texts, ElementsAre("Handle created", "Resolving name localhost", "Name resolved localhost",
                                         "Connecting to socket address", "Connected to socket address",
                                         "Sending request", "Request sent", "Response received",
                                         "Closing the connection to the server", "Connection to the server closed",
                                         "Request complete", "Being redirected", "Unknown status: 99"));
}

}  // namespace
