#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "modern/FetchFeed.h"
#include "modern/web/WebState.h"
#include "quillmoria/NewsDetails.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace {

/// The program tls-server with an authority of its own.
class Tls : public testing::Test {
 protected:
  Tls() {
    quillmoria::webState.build();
    const std::string authority = QUILLMORIA_TESTS "/host/make-authority '" + base_.name() + "' IP:127.0.0.1";
    int output[2];
    if (std::system(authority.c_str()) != 0 || pipe(output) != 0) throw std::runtime_error("no authority");
    process_ = fork();
    if (process_ == 0) {
      dup2(output[1], STDOUT_FILENO);
      execl(QUILLMORIA_TESTS "/modern/tls-server", "tls-server", base_.name().c_str(), nullptr);
      _exit(1);
    }
    close(output[1]);
    told_ = fdopen(output[0], "r");
    port_ = told();
  }
  ~Tls() override {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    fclose(told_);
  }

  /// The server's next line.
  std::string told() {
    char line[80] = "";
    if (!fgets(line, sizeof line, told_)) return "nothing";
    std::string text(line);
    text.pop_back();
    return text;
  }

  std::string fetch(const std::string& url) {
    RSSObject::NewsFeed feed;
    feed.url = url;
    RSSObject news(RSSObject::ChannelStruct(), nullptr, -1);
    news.baseFolder = base_.name();
    quillmoria::fetchModernFeed(news, feed, "");
    return std::string(quillmoria::OutcomeName(news.GetDetails()->outcome)) + " " + std::to_string(news.itemCount);
  }

  TemporaryBaseFolder base_;
  std::string port_;

 private:
  pid_t process_ = -1;
  FILE* told_ = nullptr;
};

TEST_F(Tls, SpeaksHttp2WhereItIsOfferedAndDecodes) {
  const EnvironmentVariable trusted("SSL_CERT_FILE", (base_ / "ca.pem").c_str());
  EXPECT_EQ(fetch("https://127.0.0.1:" + port_ + "/feed"), "Fetched 1");
  EXPECT_EQ(told(), "h2");
  EXPECT_EQ(fetch("127.0.0.1:" + port_ + "/other"), "Fetched 1") << "over the same connection";
}

TEST_F(Tls, AsksNobodyInTheClearWhoseCertificateIsWrong) {
  EXPECT_EQ(fetch("127.0.0.1:" + port_ + "/feed"), "TlsError -1");
  EXPECT_EQ(told(), "refused");
  EXPECT_EQ(fetch("https://127.0.0.1:" + port_ + "/feed"), "TlsError -1");
  EXPECT_EQ(told(), "refused") << "not what a request in the clear would be";
}

/// What is asked of a proxy, and where none may be passed by.
TEST(WireProxy, IsThatOfTheSettingsFile) {
  const auto fetch = [](const std::string& settings) {
    const TemporaryBaseFolder base;
    base.write("config/quillmoria.ini", settings);
    RSSObject::NewsFeed feed;
    feed.url = "http://news.invalid/feed";
    RSSObject news(RSSObject::ChannelStruct(), nullptr, -1);
    news.baseFolder = base.name();
    quillmoria::fetchModernFeed(news, feed, "");
    return std::string(quillmoria::OutcomeName(news.GetDetails()->outcome)) + " " + news.statusMessage;
  };
  LoopbackServer proxy;
  const std::string settings = "[Proxy]\nType=3\nServer=127.0.0.1\nPort=" + std::to_string(proxy.port()) + "\n";
  EXPECT_EQ(fetch(settings), "NotFound HTTP 404 Not Found");
  ASSERT_EQ(proxy.requests().size(), 1U);
  EXPECT_THAT(proxy.requests()[0], testing::StartsWith("GET http://news.invalid/feed HTTP/1.1\r\n"));
  EXPECT_EQ(fetch(settings + "Credentials=A\n"),
            "NetworkError The proxy's credentials in the settings file cannot be read");
  EXPECT_EQ(proxy.requests().size(), 1U);
}

}  // namespace
