#include "platform/TextFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/TemporaryFolder.h"

using quillmoria::PathForm;
using quillmoria::readTextFile;

TEST(TextFile, DropsOnlyTheCarriageReturnOfALineEnd) {
  const TemporaryBaseFolder base;
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"a\nb", "a\nb"},
      {"a\r\nb\r\n", "a\nb\n"},
      {"\r\r\n", "\r\n"},
      {"a\rb\r", "a\rb\r"},
      {"\r\n\r\n", "\n\n"},
      {std::string(70000, 'x') + "\r\n", std::string(70000, 'x') + "\n"}};
  for (const auto& [bytes, text] : rows) {
    base.write("config/x.ini", bytes);
    EXPECT_EQ(readTextFile((base / "config/x.ini").string(), PathForm::Host, 80000), text);
    EXPECT_EQ(readTextFile(base.name() + "\\config\\x.ini", PathForm::Engine, 80000), text);
  }
}

TEST(TextFile, IsNothingIfItIsTooLargeOrNoRegularFile) {
  const TemporaryBaseFolder base;
  base.write("x", "1234");
  mkfifo((base / "fifo").c_str(), 0600);
  EXPECT_TRUE(readTextFile((base / "x").string(), PathForm::Host, 4));
  EXPECT_FALSE(readTextFile((base / "x").string(), PathForm::Host, 3));
  EXPECT_FALSE(readTextFile((base / "x").string(), PathForm::Engine, 4));
  for (const char* other : {"fifo", "cache", "missing"}) {
    EXPECT_FALSE(readTextFile((base / other).string(), PathForm::Host, 4)) << other;
  }
}
