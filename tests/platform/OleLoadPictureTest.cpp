#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "platform/IStream.h"
#include "support/Table.h"

namespace {

class TextStream : public IStream {
 public:
  explicit TextStream(const std::string& bytes) : bytes_(bytes) {}
  std::size_t Read(void* buffer, std::size_t count) override {
    bytes_.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
    return static_cast<std::size_t>(bytes_.gcount());
  }

 private:
  std::istringstream bytes_;
};

std::shared_ptr<const IPicture> load(const std::string& bytes) {
  TextStream stream(bytes);
  return OleLoadPicture(&stream);
}

constexpr const char* kSamples[] = {"red.gif", "red.png", "red.jpg", "red.bmp", "red.ico", "png-inside.ico"};

}  // namespace

TEST(OleLoadPicture, ReadsTheFirstPictureOfEveryFormatIfItIsWhole) {
  for (const std::string name : kSamples) {
    const std::string whole = readSample("images/" + name);
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
  EXPECT_TRUE(load(readSample("images/32-scans.jpg")));
  testing::internal::CaptureStderr();
  for (const auto& [what, name, at, change] : readTable<4>("platform/refused-pictures.tsv")) {
    std::string bytes = name.empty() ? "" : readSample("images/" + name);
    EXPECT_FALSE(load(bytes.replace(std::stoul(at), change.size(), change))) << what;
  }
  EXPECT_FALSE(load(readSample("images/red.png") + std::string(4 * 1024 * 1024, '\0')));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
