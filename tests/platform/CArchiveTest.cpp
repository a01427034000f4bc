#include "platform/CArchive.h"

#include <gtest/gtest.h>

#include "platform/CFile.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace std::string_literals;

const std::string kTail = "\xFE\xFF\xFF\xFF\x04\x03\x02\x01"s;  // -2 and the time 0x01020304

class Archive : public testing::Test {
 protected:
  std::string stored(const std::string& text, std::size_t bufferSize) {
    CFile file;
    EXPECT_TRUE(file.Open(path_, CFile::modeReplace));
    CArchive archive(&file, CArchive::store, bufferSize);
    archive << text << std::int32_t{-2} << CTime(0x01020304);
    archive.Close();
    file.Close();
    return base_.read("cache/archive");
  }

  std::string loaded(const std::string& bytes, std::size_t bufferSize) {
    base_.write("cache/archive", bytes);
    CFile file;
    EXPECT_TRUE(file.Open(path_, CFile::modeRead));
    CArchive archive(&file, CArchive::load, bufferSize);
    std::string text;
    std::int32_t number;
    CTime time;
    archive >> text >> number >> time;
    EXPECT_TRUE(number == -2 && time == CTime(0x01020304) && archive.remaining() == 0);
    return text;
  }

  TemporaryBaseFolder base_;
  const std::string path_ = base_.name() + "\\cache\\archive";
};

}  // namespace

TEST_F(Archive, WritesAndReadsLengthsAsWideAsTheyNeedToBe) {
  const std::pair<std::size_t, std::string> prefixes[] = {{0, "\0"s},
                                                          {254, "\xFE"s},
                                                          {255, "\xFF\xFF\0"s},
                                                          {65533, "\xFF\xFD\xFF"s},
                                                          {65534, "\xFF\xFF\xFF\xFE\xFF\0\0"s},
                                                          {70000, "\xFF\xFF\xFF\x70\x11\x01\0"s}};
  for (const auto& [length, prefix] : prefixes) {
    const std::string text(length, 'x');
    for (const std::size_t bufferSize : {0, 1, 7, 4096, 1 << 20}) {
      EXPECT_TRUE(stored(text, bufferSize) == prefix + text + kTail) << length << " by " << bufferSize;
      EXPECT_TRUE(loaded(prefix + text + kTail, bufferSize) == text) << length << " by " << bufferSize;
    }
  }
}

TEST_F(Archive, RefusesWhatIsCutOffAndLengthsThatAreNone) {
  const std::string whole = "\xFF\xFF\xFF\x05\0\0\0"s + "hello" + kTail;
  EXPECT_EQ(loaded(whole, 4), "hello");
  for (std::size_t i = 0; i < whole.size(); ++i) EXPECT_THROW(loaded(whole.substr(0, i), 4), CArchiveException) << i;
  for (const std::string& length : {"\xFF\xFE\xFF"s, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\xFF\xFF\xFF\0\0\0\x80"s}) {
    EXPECT_THROW(loaded(length + std::string(66000, 'x'), 4096), CArchiveException);
  }
}
