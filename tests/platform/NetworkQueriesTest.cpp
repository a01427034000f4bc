#include <gtest/gtest.h>

#include "platform/AfxParseURL.h"
#include "platform/InternetQueryOption.h"
#include "quillmoria/ConnectedState.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

TEST(AfxParseURLTest, SplitsAbsoluteHttpAddressesAndRefusesEverythingElse) {
  for (const auto& [url, expected] : readTable<2>("platform/urls.tsv")) {
    CString server = "-", object = "-";
    std::uint16_t port = 7;
    const std::string outcome = AfxParseURL(url, server, object, port) ? "" : "refused ";
    EXPECT_EQ(outcome + server + " " + std::to_string(port) + " " + object, expected) << url;
  }
}

TEST(InternetQueryConnectedStateTest, TakesTheHostsWordBeforeTheEnvironments) {
  const auto isConnected = [](ConnectedState word, const char* offline) {
    const EnvironmentVariable variable("QUILLMORIA_OFFLINE", offline);
    SetConnectedState(word);
    return InternetQueryConnectedState() == INTERNET_STATE_CONNECTED;
  };
  EXPECT_TRUE(isConnected(ConnectedState::Connected, "1") && !isConnected(ConnectedState::Disconnected, "0"));
  EXPECT_TRUE(isConnected(ConnectedState::Automatic, "0") && !isConnected(ConnectedState::Automatic, "1"));
}

TEST(InternetQueryProxyTest, ReadsTheProxiesOfTheEnvironmentForEachScheme) {
  const EnvironmentVariable none[] = {{"http_proxy", nullptr}, {"https_proxy", nullptr}, {"HTTPS_PROXY", nullptr},
                                      {"all_proxy", nullptr},  {"ALL_PROXY", nullptr},   {"no_proxy", nullptr},
                                      {"NO_PROXY", nullptr},   {"HTTP_PROXY", "cgi"}};
  EXPECT_FALSE(InternetQueryProxy());
  const EnvironmentVariable all("ALL_PROXY", "all:1"), http("http_proxy", "me:x y@http:2"), bypass("NO_PROXY", "a,b");
  ASSERT_TRUE(InternetQueryProxy());
  EXPECT_EQ(InternetQueryProxy()->name + " but " + InternetQueryProxy()->bypass,
            "http=me:x%20y@http:2 https=all:1 but a,b");
}
