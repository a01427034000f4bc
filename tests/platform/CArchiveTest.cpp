#include "platform/CArchive.h"

#include <gtest/gtest.h>

#include "platform/CFile.h"
#include "support/TemporaryFolder.h"

namespace {

class Archive : public testing::Test {
 protected:
  std::string stored(std::size_t bufferSize, const std::vector<std::string>& texts) {
    CFile file;
    EXPECT_TRUE(file.Open(path_, CFile::modeCreate));
    CArchive archive(&file, CArchive::store, bufferSize);
    for (const std::string& text : texts) archive << text << std::int32_t{-2} << CTime(0x01020304);
    archive.Close();
    return base_.read("cache/archive");
  }

  /// The text, number and time at the front of `bytes`, one after the other.
  std::string loaded(const std::string& bytes, std::size_t bufferSize) {
    base_.write("cache/archive", bytes);
    CFile file;
    EXPECT_TRUE(file.Open(path_, CFile::modeRead));
    CArchive archive(&file, CArchive::load, bufferSize);
    std::string text;
    std::int32_t number;
    CTime time;
    archive >> text >> number >> time;
    EXPECT_EQ(archive.remaining(), 0u);
    return text + std::to_string(number) + "," + std::to_string(time.GetTime());
  }

  TemporaryBaseFolder base_;
  const std::string path_ = base_.name() + "\\cache\\archive";
};

using namespace std::string_literals;
const std::string kTail = "\xFE\xFF\xFF\xFF\x04\x03\x02\x01"s;

}  // namespace

TEST_F(Archive, WritesAndReadsLengthsAsWideAsTheyNeedToBe) {
  const std::pair<std::size_t, std::string> prefixes[] = {{0, "\0"s},
                                                          {254, "\xFE"s},
                                                          {255, "\xFF\xFF\0"s},
                                                          {65533, "\xFF\xFD\xFF"s},
                                                          {65534, "\xFF\xFF\xFF\xFE\xFF\0\0"s},
                                                          {70000, "\xFF\xFF\xFF\x70\x11\x01\0"s}};
  for (const std::size_t bufferSize : {0, 1, 7, 4096, 1 << 20}) {
    std::vector<std::string> texts;
    std::string expected;
    for (const auto& [length, prefix] : prefixes) {
      texts.emplace_back(length, 'x');
      expected += prefix + texts.back() + kTail;
      EXPECT_EQ(loaded(prefix + texts.back() + kTail, bufferSize), texts.back() + "-2,16909060");
    }
    EXPECT_TRUE(stored(bufferSize, texts) == expected) << bufferSize;
  }
}

TEST_F(Archive, RefusesWhatIsCutOffAndLengthsThatAreNone) {
  const std::string whole = "\xFF\xFF\xFF\x05\0\0\0"s + "hello" + kTail;
  EXPECT_EQ(loaded(whole, 4), "hello-2,16909060");
  for (std::size_t i = 0; i < whole.size(); ++i) {
    EXPECT_THROW(loaded(whole.substr(0, i), 4), CArchiveException) << i;
  }
  for (const std::string& length : {"\xFF\xFE\xFF"s, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\xFF\xFF\xFF\0\0\0\x80"s}) {
    EXPECT_THROW(loaded(length + std::string(66000, 'x'), 4096), CArchiveException);
  }
}
