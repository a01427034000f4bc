#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>

#include "platform/IStream.h"

namespace {

class TextStream : public IStream {
 public:
  explicit TextStream(std::string bytes) : bytes_(std::move(bytes)) {}
  std::size_t Read(void* buffer, std::size_t count) override {
    const std::size_t done = bytes_.copy(static_cast<char*>(buffer), count, at_);
    at_ += done;
    return done;
  }

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

std::shared_ptr<const IPicture> load(std::string bytes) {
  TextStream stream(std::move(bytes));
  return OleLoadPicture(&stream);
}

std::string sample(const std::string& name) {
  std::ostringstream bytes;
  bytes << std::ifstream(QUILLMORIA_SAMPLES "/images/" + name, std::ios::binary).rdbuf();
  return bytes.str();
}

std::string replaced(std::string bytes, std::size_t at, const std::string& by) {
  return bytes.replace(at, by.size(), by);
}

using namespace std::string_literals;
constexpr const char* kSamples[] = {"red.gif", "red.png", "red.jpg", "red.bmp", "red.ico", "png-inside.ico"};

}  // namespace

TEST(OleLoadPicture, ReadsTheFirstPictureOfEveryFormatIfItIsWhole) {
  for (const std::string name : kSamples) {
    const std::string whole = sample(name);
    const auto picture = load(whole);
    ASSERT_TRUE(picture && picture->width() == 3 && picture->height() == 2) << name;
    const bool isOpaque = name == "red.jpg" || name == "red.bmp";  // elsewhere the last pixel is transparent
    EXPECT_EQ(std::string(picture->row(0).begin(), picture->row(0).begin() + 4), "\xC8\x28\x28\xFF") << name;
    EXPECT_EQ(picture->row(1)[11], isOpaque ? 0xFF : 0) << name;
    // Of a GIF the second frame, which a second control block begins, is not needed.
    const std::size_t needed = name == "red.gif" ? whole.rfind("\x21\xF9") : whole.size();
    for (std::size_t i = 0; i < needed; ++i) EXPECT_FALSE(load(whole.substr(0, i))) << name << " up to " << i;
  }
}

TEST(OleLoadPicture, RefusesLargePicturesAndOtherData) {
  const std::string gif = sample("red.gif"), png = sample("red.png"), jpeg = sample("red.jpg"), bmp = sample("red.bmp");
  const std::string scans = sample("32-scans.jpg");
  EXPECT_TRUE(load(scans));
  const std::pair<const char*, std::string> rows[] = {
      {"nothing", ""},
      {"text", "<html>404 Not Found</html>"},
      {"a vector graphic", "<svg xmlns='http://www.w3.org/2000/svg' width='3' height='2'/>"},
      {"a GIF screen of 4097 columns", replaced(gif, 6, "\x01\x10"s)},
      {"a GIF frame of 4097 rows", replaced(gif, gif.find('\x2C') + 7, "\x01\x10"s)},
      {"a JPEG of 4097 columns", replaced(jpeg, jpeg.find("\xFF\xC0") + 7, "\x10\x01"s)},
      {"a JPEG of 33 scans", std::string(scans).insert(scans.size() - 2, scans.substr(scans.rfind("\xFF\xDA"), 10))},
      {"a BMP of 4097 columns", replaced(bmp, 18, "\x01\x10"s)},
      {"an icon of 4097 columns", replaced(sample("red.ico"), 26, "\x01\x10"s)},
      {"a PNG of 4097 columns",  // with its check sum
       png.substr(0, 8) + "\0\0\0\rIHDR\0\0\x10\x01\0\0\0\1\x08\0\0\0\0\x94\x88\x5F\x9E"s + png.substr(33)},
      {"more than 4 MiB", png + std::string(4 * 1024 * 1024, '\0')},
  };
  testing::internal::CaptureStderr();
  for (const auto& [what, bytes] : rows) EXPECT_FALSE(load(bytes)) << what;
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(OleLoadPicture, SurvivesAnyChangeOfTwoBytes) {
  std::mt19937 random(1);
  for (const std::string name : kSamples) {
    for (int i = 0; i < 30; ++i) {
      std::string bytes = sample(name);
      for (int k = 0; k < 2; ++k) bytes[random() % bytes.size()] = static_cast<char>(random());
      const auto picture = load(bytes);
      EXPECT_TRUE(!picture || std::max(picture->width(), picture->height()) <= 4096) << name << " " << i;
    }
  }
}
