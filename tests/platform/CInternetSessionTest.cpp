#include "platform/CInternetSession.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <thread>

#include "support/LoopbackServer.h"
#include "support/Table.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::HasSubstr;

namespace {

class ObservedSession : public CInternetSession {
 public:
  using CInternetSession::CInternetSession;
  void OnStatusCallback(std::uintptr_t, std::uint32_t status, const void*, std::uint32_t) override {
    connections += status == INTERNET_STATUS_CONNECTING_TO_SERVER;
    if (status == INTERNET_STATUS_SENDING_REQUEST && throws) throw std::logic_error("the observer's own");
  }
  int connections = 0;
  bool throws = false;
};

class InternetSession : public testing::Test {
 protected:
  using Send = LoopbackServer::Send;

  std::unique_ptr<CHttpFile> requestFor(const char* target, int port, std::uint32_t flags = 0) {
    return session_.GetHttpConnection("127.0.0.1", static_cast<std::uint16_t>(port), "me", "secret")
        ->OpenRequest("GET", target, flags);
  }

  /// The status and the body, or the error text.
  static std::string outcomeOf(const std::unique_ptr<CHttpFile>& request) try {
    request->SendRequest();
    std::string outcome = std::to_string(request->QueryInfoStatusCode()) + " ";
    char piece[1000];
    while (const std::size_t count = request->Read(piece, sizeof piece)) outcome.append(piece, count);
    return outcome;
  } catch (const CInternetException& error) {
    return error.what();
  }
  std::string outcomeOf(const char* target) { return outcomeOf(requestFor(target, server_.port())); }

  LoopbackServer server_;
  ObservedSession session_{"Agent", 1, INTERNET_OPEN_TYPE_DIRECT, "", ""};
  ObservedSession proxied_{"Agent", 1, INTERNET_OPEN_TYPE_PROXY, "127.0.0.1:" + std::to_string(server_.port()), ""};
};

}  // namespace

TEST_F(InternetSession, EndsWithAnErrorTextWhateverTheServerOrTheProxyDoes) {
  for (ObservedSession* session : {&session_, &proxied_}) {
    session->SetOption(INTERNET_OPTION_CONNECT_TIMEOUT, 1000);
    session->SetOption(INTERNET_OPTION_CONNECT_RETRIES, 0);
    session->SetOption(INTERNET_OPTION_IDLE_TIMEOUT, 150);
    session->SetOption(INTERNET_OPTION_SLOW_PERIOD, 300);
    session->SetOption(INTERNET_OPTION_TRANSFER_TIMEOUT, 1500);
    session->SetOption(INTERNET_OPTION_MAXIMUM_BODY, 4'000'000);
  }
  for (const auto& [what, text, first, piece, times, pause] : readTable<6>("platform/misbehaving-servers.tsv")) {
    std::string pieces;
    for (int i = times.empty() ? 0 : std::stoi(times); i > 0; --i) pieces += piece;
    const milliseconds wait(times.empty() ? 0 : std::stoi(pause));
    for (const char* target : {"/row", "news.example:443"}) {
      server_.talk(target, [=, first = first, isEndless = !times.empty()](const std::string&, const Send& send) {
        for (bool goesOn = send(first) && isEndless; goesOn; goesOn = send(pieces)) std::this_thread::sleep_for(wait);
        return false;
      });
    }
    const std::string outcome = outcomeOf("/row");
    EXPECT_THAT(outcome, HasSubstr(text)) << what;
    EXPECT_FALSE(outcome.starts_with("200 ")) << what;
    const auto tunnel = proxied_.GetHttpConnection("news.example", 443, nullptr, nullptr);
    EXPECT_FALSE(outcomeOf(tunnel->OpenRequest("GET", "/", INTERNET_FLAG_SECURE)).starts_with("200 ")) << what;
  }
  server_.serve("/row", std::string(4'000'001, 'x'));
  EXPECT_EQ(outcomeOf("/row"), "The body is too large");
  server_.serve("/row", std::string(4'000'000, 'x'));
  EXPECT_EQ(outcomeOf("/row"), "200 " + std::string(4'000'000, 'x'));
}

TEST_F(InternetSession, ReadsLinesAcrossPiecesAndHandsOutWhatHasComeBeforeTheRestHas) {
  std::promise<void> isRead;
  server_.talk("/feed", [&](const std::string&, const Send& send) {
    send("HTTP/1.1 200 Fine\r\nx-CASE: Kept \r\nContent-Length: 10\r\n\r\none\nt");
    isRead.get_future().wait();
    return send("wo\n\nx");
  });
  const auto request = requestFor("feed", server_.port());
  request->SendRequest();
  EXPECT_EQ(request->QueryInfoRawHeaders(), "HTTP/1.1 200 Fine\r\nx-CASE: Kept \r\nContent-Length: 10\r\n");
  CString lines;
  EXPECT_TRUE(request->ReadString(lines));
  EXPECT_EQ(lines, "one");
  isRead.set_value();
  while (request->ReadString(lines)) lines += '|';
  EXPECT_EQ(lines, "onetwo||x|");
}

TEST_F(InternetSession, TakesNothingForAResponseThatCameBeforeItsRequest) {
  std::promise<void> isRead;
  std::promise<void> isSent;
  server_.talk("/first", [&](const std::string&, const Send& send) {
    send(LoopbackServer::response("200 OK", "", "x"));
    isRead.get_future().wait();
    send(LoopbackServer::response("200 OK", "", "smuggled"));
    isSent.set_value();
    return true;
  });
  server_.serve("/next", "y");
  EXPECT_EQ(outcomeOf("/first"), "200 x");
  isRead.set_value();
  isSent.get_future().wait();
  EXPECT_EQ(outcomeOf("/next"), "200 y");
}

TEST_F(InternetSession, TriesAsOftenAsItMayOnlyWhereNoConnectionCameAbout) {
  server_.handle("/closes", [](const std::string&) { return ""; });
  session_.SetOption(INTERNET_OPTION_CONNECT_RETRIES, 3);
  session_.SetOption(INTERNET_OPTION_CONNECT_BACKOFF, 100);
  session_.EnableStatusCallback(true);
  EXPECT_THAT(outcomeOf("/closes"), HasSubstr("Empty reply"));
  EXPECT_EQ(session_.connections, 1);
  session_.SetOption(INTERNET_OPTION_CONNECT_TIMEOUT, 500);
  EXPECT_THAT(outcomeOf(requestFor("/", server_.port(), INTERNET_FLAG_SECURE)), HasSubstr("timeout"));
  EXPECT_EQ(session_.connections, 2);

  const auto start = steady_clock::now();
  EXPECT_THAT(outcomeOf(requestFor("/", 1)), HasSubstr("Failed to connect"));
  EXPECT_EQ(session_.connections, 2 + 3);
  EXPECT_GE(steady_clock::now() - start, milliseconds(200));
  session_.SetOption(INTERNET_OPTION_CONNECT_RETRIES, 1);
  EXPECT_THAT(outcomeOf(requestFor("/", 1)), HasSubstr("Failed to connect"));
  EXPECT_EQ(session_.connections, 2 + 3 + 1);
}

TEST_F(InternetSession, ChecksANameOnceItIsMapped) {
  for (const auto& [name, outcome] : readTable<2>("platform/mapped-names.tsv")) {
    const auto ask = [&, &name = name] {
      return outcomeOf(proxied_.GetHttpConnection(name, 80, nullptr, nullptr)->OpenRequest("GET", "/", 0));
    };
    server_.answer("http://" + outcome + "/", LoopbackServer::response("200 OK", "", "there"));
    if (outcome.empty()) {
      EXPECT_THROW(ask(), CInternetException) << name;
    } else {
      EXPECT_EQ(ask(), "200 there") << name;
    }
  }
}

TEST_F(InternetSession, QuotesNoProxysUserInformation) {
  server_.serve("http://news.example/", "there");
  const std::string proxy = "127.0.0.1:" + std::to_string(server_.port());
  for (const auto& [userInformation, outcome] : readTable<2>("platform/proxies.tsv")) {
    CInternetSession session("Agent", 1, INTERNET_OPEN_TYPE_PROXY, userInformation + proxy, "");
    const auto connection = session.GetHttpConnection("news.example", 80, nullptr, nullptr);
    EXPECT_EQ(outcomeOf(connection->OpenRequest("GET", "/", 0)), outcome) << userInformation;
  }
}

TEST_F(InternetSession, LetsAnObserversExceptionThroughToTheCaller) {
  server_.serve("/feed", "x");
  session_.EnableStatusCallback(true);
  session_.throws = true;
  EXPECT_THROW(outcomeOf("/feed"), std::logic_error);
  EXPECT_TRUE(server_.requests().empty());
}

TEST_F(InternetSession, CutsOffTransfersAndLetsNoneBeginUntilTheyAreResumed) {
  std::promise<void> hasBegun;
  server_.talk("/slow", [&](const std::string&, const Send&) {
    hasBegun.set_value();
    return true;
  });
  server_.serve("/feed", "x");
  EXPECT_EQ(outcomeOf("/feed"), "200 x");
  auto slow = std::async(std::launch::async, [&] { return outcomeOf("/slow"); });
  hasBegun.get_future().wait();
  CInternetSession::CutOffTransfers();
  EXPECT_EQ(slow.get() + ", " + outcomeOf("/feed"), "The transfer was cut off, The transfer was cut off");
  CInternetSession::ResumeTransfers();
  EXPECT_EQ(outcomeOf("/feed"), "200 x");
  EXPECT_EQ(server_.connections(), 2);
}
