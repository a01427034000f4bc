#include "platform/TextFile.h"

#include <gtest/gtest.h>

#include "support/TemporaryFolder.h"

using quillmoria::PathForm;
using quillmoria::readTextFile;

TEST(TextFile, IsReadWithoutTheCarriageReturnsOfLineEndsUnlessItIsTooLarge) {
  const TemporaryBaseFolder base;
  const std::pair<std::string, std::string> rows[] = {
      {"a\r\nb\r\n", "a\nb\n"}, {"\r\r\n\r\n", "\r\n\n"}, {"a\rb\r", "a\rb\r"}};
  for (const auto& [bytes, text] : rows) {
    base.write("config/x", std::string(70000, '\n') + bytes);
    const std::string host = base / "config/x", engine = base.name() + "\\config\\x";
    EXPECT_EQ(readTextFile(host, PathForm::Host, 70000 + bytes.size()), std::string(70000, '\n') + text);
    EXPECT_EQ(readTextFile(engine, PathForm::Engine, 80000), std::string(70000, '\n') + text);
    EXPECT_FALSE(readTextFile(host, PathForm::Host, 69999 + bytes.size()));
    EXPECT_FALSE(readTextFile(host, PathForm::Engine, 80000));
  }
  for (const char* other : {"cache", "missing"}) EXPECT_FALSE(readTextFile(base / other, PathForm::Host, 4)) << other;
}
