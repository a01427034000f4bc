#include "platform/CInternetSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "support/LoopbackServer.h"

using ::testing::HasSubstr;

namespace {

using Send = LoopbackServer::Send;

std::unique_ptr<CHttpFile> requestTo(CInternetSession& session, const LoopbackServer& server, const char* target) {
  return session.GetHttpConnection("127.0.0.1", server.port(), nullptr, nullptr)->OpenRequest("GET", target, 0);
}

/// The status and the body, or the error text.
std::string outcomeOf(CInternetSession& session, const LoopbackServer& server, const char* target) {
  try {
    const auto request = requestTo(session, server, target);
    request->SendRequest();
    std::string outcome = std::to_string(request->QueryInfoStatusCode()) + " ";
    char piece[1000];
    while (const std::size_t count = request->Read(piece, sizeof piece)) outcome.append(piece, count);
    return outcome;
  } catch (const CInternetException& error) {
    return error.what();
  }
}

/// Sends `first`, and then `piece` again and again until nobody listens any more.
LoopbackServer::Talk endlessly(std::string first, std::string piece, std::chrono::milliseconds pause = {}) {
  return [=](const std::string&, const Send& send) {
    for (bool goesOn = send(first); goesOn; goesOn = send(piece)) std::this_thread::sleep_for(pause);
    return false;
  };
}

TEST(CInternetSessionTest, EndsWithAnErrorTextWhateverTheServerDoes) {
  using std::chrono_literals::operator""ms;
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const auto once = [](std::string bytes) {
    return [=](const std::string&, const Send& send) { return send(bytes) && false; };
  };
  const struct {
    const char* name;
    LoopbackServer::Talk talk;
    const char* text;
  } rows[] = {
      {"closes at once", once(""), "Empty reply"},
      {"closes in the status line", once("HTTP/1."), ""},
      {"closes in the header lines", once(ok + "Content-Le"), "within its header lines"},
      {"closes after a provisional response", once("HTTP/1.1 100 Continue\r\n\r\n"), ""},
      {"closes in the body", once(ok + "Content-Length: 10\r\n\r\nabc"), "transfer closed"},
      {"closes in a chunk", once(ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nabc"), "transfer closed"},
      {"closes between chunks", once(ok + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n"), "transfer closed"},
      {"sends a chunk size that is none", once(ok + "Transfer-Encoding: chunked\r\n\r\nxyz\r\n"), "chunk"},
      {"sends no status line", once("<html>hello</html>\r\n\r\n"), "HTTP/0.9"},
      {"states a negative length", once(ok + "Content-Length: -5\r\n\r\nabc"), "Content-Length"},
      {"sends one line without end", endlessly(ok + "X: ", std::string(10'000, 'x')), ""},
      {"sends header lines without end", endlessly(ok, "X: " + std::string(1'000, 'x') + "\r\n"), "too large"},
      {"sends provisional responses without end", endlessly("", "HTTP/1.1 103 Hints\r\n\r\n"), "too large"},
      {"sends a body without end", endlessly(ok + "\r\n", std::string(10'000, 'x')), "body is too large"},
      {"sends nothing", endlessly("", "", 10ms), "stopped sending"},
      {"stops in the body", endlessly(ok + "\r\nabc", "", 10ms), "stopped sending"},
      {"drips header bytes", endlessly(ok, "x", 10ms), "too slowly"},
      {"drips a body", endlessly(ok + "\r\n", "x", 10ms), "too slowly"},
      {"never ends at a fair pace", endlessly(ok + "\r\n", std::string(200, 'x'), 1ms), "took too long"},
  };
  CInternetSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
  session.SetOption(INTERNET_OPTION_IDLE_TIMEOUT, 150);
  session.SetOption(INTERNET_OPTION_SLOW_PERIOD, 300);
  session.SetOption(INTERNET_OPTION_TRANSFER_TIMEOUT, 1500);
  session.SetOption(INTERNET_OPTION_MAXIMUM_BODY, 4'000'000);
  LoopbackServer server;
  for (const auto& row : rows) {
    server.talk("/row", row.talk);
    const std::string outcome = outcomeOf(session, server, "/row");
    EXPECT_THAT(outcome, HasSubstr(row.text)) << row.name;
    EXPECT_NE(outcome.substr(0, 4), "200 ") << row.name;
  }
  server.serve("/row", "well");
  EXPECT_EQ(outcomeOf(session, server, "/row"), "200 well");
}

TEST(CInternetSessionTest, AcceptsABodyOfTheLargestSizeAndNotAByteMore) {
  CInternetSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
  session.SetOption(INTERNET_OPTION_MAXIMUM_BODY, 100'000);
  LoopbackServer server;
  server.serve("/largest", std::string(100'000, 'x'));
  server.serve("/larger", std::string(100'001, 'x'));
  EXPECT_EQ(outcomeOf(session, server, "/largest"), "200 " + std::string(100'000, 'x'));
  EXPECT_EQ(outcomeOf(session, server, "/larger"), "The body is too large");
}

TEST(CInternetSessionTest, ReadsLinesAcrossPiecesAndHandsOutWhatHasComeBeforeTheRestHas) {
  std::promise<void> isRead;
  LoopbackServer server;
  server.talk("/feed", [&](const std::string&, const Send& send) {
    send("HTTP/1.1 200 Fine\r\nx-CASE: Kept \r\nContent-Length: 10\r\n\r\none\nt");
    isRead.get_future().wait();
    return send("wo\n\nx");
  });
  CInternetSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
  const auto request = requestTo(session, server, "feed");
  request->SendRequest();
  EXPECT_EQ(request->QueryInfoRawHeaders(), "HTTP/1.1 200 Fine\r\nx-CASE: Kept \r\nContent-Length: 10\r\n");
  CString lines;
  EXPECT_TRUE(request->ReadString(lines));
  EXPECT_EQ(lines, "one");
  isRead.set_value();
  while (request->ReadString(lines)) lines += '|';
  EXPECT_EQ(lines, "onetwo||x|");
}

class CountingSession : public CInternetSession {
 public:
  using CInternetSession::CInternetSession;
  void OnStatusCallback(std::uintptr_t, std::uint32_t status, const void*, std::uint32_t) override {
    connections += status == INTERNET_STATUS_CONNECTING_TO_SERVER;
    if (status == INTERNET_STATUS_SENDING_REQUEST && throws) throw std::runtime_error("the observer's own");
  }
  int connections = 0;
  bool throws = false;
};

TEST(CInternetSessionTest, TriesAgainOnlyWhereNoConnectionCameAbout) {
  LoopbackServer server;
  server.handle("/closes", [](const std::string&) { return ""; });
  CountingSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
  session.SetOption(INTERNET_OPTION_CONNECT_RETRIES, 2);
  session.SetOption(INTERNET_OPTION_CONNECT_BACKOFF, 100);
  session.EnableStatusCallback(true);

  EXPECT_THAT(outcomeOf(session, server, "/closes"), HasSubstr("Empty reply"));
  EXPECT_EQ(session.connections, 1);

  const auto start = std::chrono::steady_clock::now();
  const auto nowhere = session.GetHttpConnection("127.0.0.1", 1, nullptr, nullptr)->OpenRequest("GET", "/", 0);
  EXPECT_THROW(nowhere->SendRequest(), CInternetException);
  EXPECT_EQ(session.connections, 1 + 3);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST(CInternetSessionTest, LetsAnObserversExceptionThroughToTheCaller) {
  LoopbackServer server;
  server.serve("/feed", "x");
  CountingSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
  session.EnableStatusCallback(true);
  session.throws = true;
  EXPECT_THROW(requestTo(session, server, "feed")->SendRequest(), std::runtime_error);
  EXPECT_TRUE(server.requests().empty());
}

TEST(CInternetSessionTest, CutsOffTransfersAndLetsNoneBeginUntilTheyAreResumed) {
  std::promise<void> hasBegun;
  LoopbackServer server;
  server.talk("/slow", [&](const std::string&, const Send&) {
    hasBegun.set_value();
    return true;
  });
  server.serve("/feed", "x");
  CInternetSession session("Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", "");
  EXPECT_EQ(outcomeOf(session, server, "/feed"), "200 x");
  auto slow = std::async(std::launch::async, [&] { return outcomeOf(session, server, "/slow"); });
  hasBegun.get_future().wait();
  CInternetSession::CutOffTransfers();
  EXPECT_EQ(slow.get(), "The transfer was cut off");
  EXPECT_EQ(outcomeOf(session, server, "/feed"), "The transfer was cut off");
  CInternetSession::ResumeTransfers();
  EXPECT_EQ(outcomeOf(session, server, "/feed"), "200 x");
  EXPECT_EQ(server.connections(), 2);
}

}  // namespace
