#include "net/SettingsFile.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

/// A reader of a settings file that holds `text`.
SettingsFile settings(const std::string& text) {
  static const TemporaryBaseFolder folder;
  folder.write("config/test.ini", text);
  return SettingsFile(folder.name() + "\\config\\test.ini");
}

int readsBeforeFault = -1;

}  // namespace

/// As the system's, until the disk fails.
ssize_t read(int file, void* buffer, std::size_t count) {
  if (readsBeforeFault == 0) return errno = EIO, -1;
  if (readsBeforeFault > 0) --readsBeforeFault;
  return syscall(SYS_read, file, buffer, count);
}

TEST(SettingsFile, FindsWhatTheLinesSay) {
  for (const auto& [text, section, key, value] : readTable<4>("net/settings-values.tsv")) {
    EXPECT_EQ(settings(text).GetValue(section, key, "default"), value) << text;
  }
}

TEST(SettingsFile, TellsWhetherItWasReadToItsEnd) {
  auto rows = readTable<3>("net/settings-ends.tsv");
  rows.push_back({"[A]\n" + std::string(1 << 20, 'k'), "not", ""});
  for (const auto& [text, end, output] : rows) {
    testing::internal::CaptureStdout();
    SettingsFile file = settings(text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), output);
    EXPECT_EQ(file.Parse() ? "whole" : "not", end) << text.substr(0, 20);
  }
  readsBeforeFault = 1;
  const SettingsFile cutOff = settings("[A]\nk=1\n");
  readsBeforeFault = -1;
  EXPECT_EQ(cutOff.GetValue("A", "k", "") + (cutOff.isReadable() ? "" : " and more"), "1 and more");
}

TEST(SettingsFile, StoresOnlyUnderNewNamesThatItMayCreate) {
  SettingsFile file = settings("[A]\nk=1\n");
  EXPECT_FALSE(file.SetValue("B", "k", "2", false) || file.SetValue("A", "l", "2", false));
  EXPECT_TRUE(file.SetValue("a", "K", "2", false) && file.SetValue("B", "l", "3", true));
  EXPECT_EQ(file.GetValue("A", "k", "") + file.GetValue("b", "L", ""), "23");
}
