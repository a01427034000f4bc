#include "net/SettingsFile.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "support/TemporaryFolder.h"

namespace {

const TemporaryBaseFolder& folder() {
  static const TemporaryBaseFolder folder;
  return folder;
}

/// A reader of a settings file that holds `text`.
SettingsFile settings(const std::string& text) {
  folder().write("config/test.ini", text);
  return SettingsFile(folder().name() + "\\config\\test.ini");
}

}  // namespace

TEST(SettingsFile, FindsWhatTheLinesSay) {
  const struct {
    const char *text, *section, *key, *value;
  } cases[] = {
      {"[Proxy]\nType=3\n", "proxy", "TYPE", "3"},
      {"[Proxy]\r\nType=3\r\r\n", "Proxy", "Type", "3"},
      {"[Proxy]\nType=3", "Proxy", "Server", "default"},
      {"Type=3\n", "", "Type", "3"},
      {"  [Proxy] x\nType=3", "Proxy", "Type", "3"},
      {"[Proxy]\n Type = 3 ", "Proxy", " Type ", " 3 "},
      {"[a=b;c]d]\nk=v", "a=b;c]d", "k", "v"},
      {"[A]\n]x[B\nk=v", "A", "k", "v"},
      {"[A]\nk=a;b=[c]#", "A", "k", "a;b=[c]#"},
      {"[A]\n;k=1\n#k=2\nx;k=3\nno mark\n\n=unnamed", "A", "k", "default"},
      {"[A]\nk=1\n[B]\nk=2\n[a]\nk=3", "A", "k", "3"},
      {"[A]\nk=1\n\tx=2\nk=3", "A", "k", "1"},
      {"[\xC3\x84]\nk=v", "\xC3\xA4", "k", "default"},
  };
  for (const auto& [text, section, key, value] : cases) {
    EXPECT_EQ(settings(text).GetValue(section, key, "default"), value) << text;
  }
}

TEST(SettingsFile, TellsWhetherItWasReadToItsEnd) {
  const std::tuple<std::string, bool, const char*> cases[] = {
      {"[A]\n", true, ""},
      {"k=v\n", true, ""},
      {"; nothing\n", false, ""},
      {"[A]\n\tk=v\n", false, "Failing on char 9\n"},
      {"\xEF\xBB\xBF[A]\n", false, "Failing on char -17\n"},
      {"[A]\n" + std::string(1 << 20, 'k'), false, ""},
  };
  for (const auto& [text, complete, output] : cases) {
    testing::internal::CaptureStdout();
    SettingsFile file = settings(text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), output);
    EXPECT_EQ(file.Parse(), complete) << text.substr(0, 20);
  }
}

TEST(SettingsFile, StoresOnlyUnderNewNamesThatItMayCreate) {
  SettingsFile file = settings("[A]\nk=1\n");
  EXPECT_FALSE(file.SetValue("B", "k", "2", false) || file.SetValue("A", "l", "2", false));
  EXPECT_TRUE(file.SetValue("a", "K", "2", false) && file.SetValue("B", "l", "3", true));
  EXPECT_EQ(file.GetValue("A", "k", "") + file.GetValue("b", "L", ""), "23");
}

TEST(SettingsFile, ReadsHundredsOfThousandsOfNamesInLinearTime) {
  for (const char* end : {"=\n", "]\n"}) {
    std::string text;
    for (int i = 0; text.size() < 1'000'000; ++i) text += (*end == '=' ? "" : "[") + std::to_string(i) + end;
    EXPECT_TRUE(settings(text).Parse());
  }
}
