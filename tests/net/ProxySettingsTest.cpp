#include "net/ProxySettings.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <exception>

#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

/// All fields in one line, or the error text.
std::string load(const std::string& baseFolder) try {
  const ProxySettings proxy = LoadProxySettings(baseFolder);
  return std::to_string(proxy.type) + " " + proxy.server + ":" + std::to_string(proxy.port) + " " + proxy.userName +
         "/" + proxy.password;
} catch (const std::exception& error) {
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

TEST(ProxySettings, AreNotLoadedWhereTheFileIsThereAndCannotBeRead) {
  const std::string notRead = "The settings file cannot be read", none = "1 :80 /";
  const TemporaryBaseFolder folder;
  const auto config = folder / "config", file = folder / "config/quillmoria.ini";
  folder.write("elsewhere", "[Proxy]\nType=0\n");
  folder.write("large", std::string((1 << 20) + 1, '\n'));
  mkfifo((folder / "pipe").c_str(), 0600);
  const auto loadLinked = [&](const std::filesystem::path& link, const std::string& target) {
    remove_all(link);
    create_symlink(target, link);
    return load(folder.name());
  };
  for (const std::string target : {"nowhere", "../cache", "../pipe", "../large", "/proc/self/mem"}) {
    EXPECT_EQ(loadLinked(file, target), notRead) << target;
  }
  EXPECT_EQ(loadLinked(file, "../elsewhere"), "0 :80 /");
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit noDescriptors{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &noDescriptors);
  const std::string withoutDescriptors = load(folder.name());
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(withoutDescriptors, notRead);
  EXPECT_EQ(loadLinked(config, "nowhere") + loadLinked(config, "elsewhere"), notRead + notRead);
  remove(config);
  EXPECT_EQ(load(folder.name()) + load(folder / "large") + load(std::string(300, 'n')), none + none + none);
}

TEST(ProxySettings, ReadHexadecimalPairsUpToTheFirstOtherCharacter) {
  for (const auto& [pair, value] : {std::pair{"9A", 0x9A}, {"FF", 0xFF}, {"1a", 1}, {"a1", 0}, {"1:", 1}}) {
    EXPECT_EQ(HexPairToByte(pair[0], pair[1]), value) << pair;
  }
}
