#include "net/ProxySettings.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

/// All fields in one line, or the error text.
std::string load(const std::string& baseFolder) try {
  const ProxySettings proxy = LoadProxySettings(baseFolder);
  return std::to_string(proxy.type) + " " + proxy.server + ":" + std::to_string(proxy.port) + " " + proxy.userName +
         "/" + proxy.password;
} catch (const std::runtime_error& error) {
  return error.what();
}

}  // namespace

TEST(ProxySettings, AreWhatTheSettingsFileSays) {
  const TemporaryBaseFolder folder;
  EXPECT_EQ(load(folder.name()), "1 :80 /");
  for (const auto& [text, expected] : readTable<2>("net/proxy-settings.tsv")) {
    folder.write("config/quillmoria.ini", text);
    EXPECT_EQ(load(folder.name()), expected) << text;
  }
}

TEST(ProxySettings, ReadHexadecimalPairsUpToTheFirstOtherCharacter) {
  for (const auto& [pair, value] : {std::pair{"9A", 0x9A}, {"FF", 0xFF}, {"1a", 1}, {"a1", 0}, {"1:", 1}}) {
    EXPECT_EQ(HexPairToByte(pair[0], pair[1]), value) << pair;
  }
}
