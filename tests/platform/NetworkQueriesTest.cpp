#include <gtest/gtest.h>

#include "platform/AfxParseURL.h"
#include "platform/InternetQueryOption.h"
#include "quillmoria/ConnectedState.h"
#include "support/TemporaryFolder.h"

namespace {

TEST(AfxParseURLTest, SplitsAbsoluteHttpAddresses) {
  const struct {
    const char* url;
    const char* server;
    const char* object;
    int port;
  } rows[] = {
      {"http://example.org", "example.org", "/", 80},
      {"HtTpS://example.org/a?b#c", "example.org", "/a?b#c", 443},
      {"http://example.org:8080/", "example.org", "/", 8080},
      {"https://example.org:65535?q", "example.org", "?q", 65535},
      {"http://[::1]:81/x:y", "[::1]", "/x:y", 81},
      {"http://[::1]", "[::1]", "/", 80},
  };
  for (const auto& row : rows) {
    CString server, object;
    std::uint16_t port = 0;
    EXPECT_TRUE(AfxParseURL(row.url, server, object, port)) << row.url;
    EXPECT_EQ(server, row.server);
    EXPECT_EQ(object, row.object);
    EXPECT_EQ(port, row.port);
  }
}

TEST(AfxParseURLTest, RefusesEverythingElseAndChangesNothing) {
  for (const char* url : {"",
                          "/relative",
                          "example.org/a",
                          "ftp://example.org/",
                          "http:/example.org",
                          "http://",
                          "http:///a",
                          "http://?a",
                          "http://me@example.org/",
                          "http://me:pw@example.org/",
                          "http://a b/",
                          "http://a\r\nb/",
                          "http://a\\b/",
                          "http://a%2fb/",
                          "http://a:/",
                          "http://a:0/",
                          "http://a:65536/",
                          "http://a:+1/",
                          "http://a:1x/",
                          "http://::1/",
                          "http://[::1/",
                          "http://[]/",
                          "http://[x]/",
                          "http://[::1]x/",
                          "http://[::1]x:80/",
                          " http://a/"}) {
    CString server = "s", object = "o";
    std::uint16_t port = 7;
    EXPECT_FALSE(AfxParseURL(url, server, object, port)) << url;
    EXPECT_EQ(server + object + std::to_string(port), "so7") << url;
  }
}

TEST(InternetQueryConnectedStateTest, TakesTheHostsWordBeforeTheEnvironments) {
  const struct {
    ConnectedState word;
    const char* variable;
    std::uint32_t state;
  } rows[] = {
      {ConnectedState::Connected, "1", INTERNET_STATE_CONNECTED},
      {ConnectedState::Disconnected, "0", INTERNET_STATE_DISCONNECTED},
      {ConnectedState::Automatic, "0", INTERNET_STATE_CONNECTED},
      {ConnectedState::Automatic, "1", INTERNET_STATE_DISCONNECTED},
  };
  for (const auto& row : rows) {
    const EnvironmentVariable offline("QUILLMORIA_OFFLINE", row.variable);
    SetConnectedState(row.word);
    EXPECT_EQ(InternetQueryConnectedState(), row.state);
  }
  SetConnectedState(ConnectedState::Automatic);
}

TEST(InternetQueryProxyTest, ReadsTheProxiesOfTheEnvironmentForEachScheme) {
  const EnvironmentVariable none[] = {{"http_proxy", nullptr}, {"https_proxy", nullptr}, {"HTTPS_PROXY", nullptr},
                                      {"all_proxy", nullptr},  {"ALL_PROXY", nullptr},   {"no_proxy", nullptr},
                                      {"NO_PROXY", nullptr},   {"HTTP_PROXY", "cgi"}};
  EXPECT_FALSE(InternetQueryProxy());
  const EnvironmentVariable all("ALL_PROXY", "all:1"), http("http_proxy", "http:2"), bypass("NO_PROXY", "a,b");
  ASSERT_TRUE(InternetQueryProxy());
  EXPECT_EQ(InternetQueryProxy()->name, "http=http:2 https=all:1");
  EXPECT_EQ(InternetQueryProxy()->bypass, "a,b");
}

}  // namespace
