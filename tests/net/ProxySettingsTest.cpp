#include "net/ProxySettings.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>
#include <utility>

#include "net/OpenSslBlowfish.h"
#include "support/TemporaryFolder.h"

namespace {

const std::string kKey = "pqmz47105962whetcvrnTLUWQGHa3ZKVRKT";

std::string hex(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    for (const int digit : {c >> 4 & 15, c & 15}) text += "0123456789ABCDEF"[digit];
  }
  return text;
}

/// `plain`, filled up to whole blocks, as the settings file holds it.
std::string credentials(std::string plain) {
  while (plain.size() % 8 != 0) plain += '.';
  return hex(encipher("BF-ECB", kKey.substr(0, plain.size()), std::string(8, '\0'), plain));
}

/// All fields in one line.
std::string show(const ProxySettings& proxy) {
  return std::to_string(proxy.type) + " " + proxy.server + ":" + std::to_string(proxy.port) + " " + proxy.userName +
         "/" + proxy.password;
}

}  // namespace

TEST(ProxySettings, AreWhatTheSettingsFileSays) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "1 :80 /"},
      {"[PROXY]\ntype=3\nSERVER=proxy.example\nPort=8080\n", "3 proxy.example:8080 /"},
      {"[Proxy]\nType=x\nServer= a b \nPort= -1x\n", "0  a b :-1 /"},
      {"[Proxy]\nCredentials=" + credentials("ann~~secret`") + "\n", "1 :80 ann/secret"},
  };
  for (const auto& [text, expected] : cases) {
    const TemporaryBaseFolder folder;
    if (!text.empty()) folder.write("config/quillmoria.ini", text);
    EXPECT_EQ(show(LoadProxySettings(folder.name())), expected) << text;
  }
  const TemporaryBaseFolder folder;
  folder.write("config/quillmoria.ini", "[Proxy]\nCredentials=A\n");
  EXPECT_THROW(LoadProxySettings(folder.name()), std::runtime_error);
}

TEST(ProxySettings, SplitTheDecipheredCredentials) {
  const std::string longName(480, 'u'), tooLongName(492, 'u');
  const struct {
    std::string text, userName, password;
  } cases[] = {
      {credentials("ann~~secret`"), "ann", "secret"},
      {credentials("ann~~a~~b`c`"), "ann", "a~~b"},
      {credentials("ann`bob."), "ann`bob.", ""},
      {credentials("a user~~and a password of 32 b`"), "a user", "and a password of 32 b"},
      {credentials("a longer user~~and a password of 40 bytes`"), "a longer user", "and a password of 40 bytes"},
      {credentials(longName + "~~pass`"), longName, "pass"},
      {credentials(tooLongName + "~~pass`"), "", ""},
      {credentials("ann~~secret`") + "F", "ann", "secret"},
      {credentials("ann~~secret`") + "FF", "", ""},
  };
  for (const auto& [text, userName, password] : cases) {
    EXPECT_EQ(DecodeCredentials(text, kKey), (std::array{userName, password})) << text;
  }
}

TEST(ProxySettings, ReadHexadecimalPairsUpToTheFirstOtherCharacter) {
  const std::pair<const char*, int> cases[] = {{"9A", 0x9A}, {"FF", 0xFF}, {"1a", 1}, {"a1", 0}, {"1:", 1}};
  for (const auto& [pair, value] : cases) EXPECT_EQ(HexPairToByte(pair[0], pair[1]), value) << pair;
}
