#include "quillmoria/CPicture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace {

std::string sample(const std::string& name) {
  std::ostringstream bytes;
  bytes << std::ifstream(QUILLMORIA_SAMPLES "/images/" + name, std::ios::binary).rdbuf();
  return bytes.str();
}

constexpr char kFailure[] = "unhandled exception\n";

class ImageFolder : public testing::Test {
 protected:
  /// What a load gives and prints: "true", with the picture's width if there is one, or "false".
  std::string load(const std::string& url) {
    CPicture picture;
    testing::internal::CaptureStdout();
    const bool isLoaded = picture.LoadFromURL(url, base_.name());
    std::fflush(stdout);
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::string width = picture.picture ? " " + std::to_string(picture.picture->width()) : "";
    return (isLoaded ? "true" : "false") + width + (printed == kFailure ? ", failure" : printed);
  }
  void goOffline() { offline_ = std::make_unique<EnvironmentVariable>("QUILLMORIA_OFFLINE", "1"); }

  TemporaryBaseFolder base_;
  LoopbackServer server_;
  EnvironmentVariable online_{"QUILLMORIA_OFFLINE", "0"};
  std::unique_ptr<EnvironmentVariable> offline_;
};

}  // namespace

TEST_F(ImageFolder, KeepsEachImageThatWasDownloadedForEver) {
  server_.serve("/a/red.png?x=1", sample("red.png"));
  server_.answer("/b/red.png?x=1", LoopbackServer::response("404 Not Found", "", "no"));
  EXPECT_EQ(load(server_.url("/a/red.png?x=1")), "true 3");
  EXPECT_EQ(base_.read("feed_imgs/red.png?x=1"), sample("red.png"));
  EXPECT_EQ(load(server_.url("/b/red.png?x=1")), "true 3");
  goOffline();
  EXPECT_EQ(load(server_.url("/a/red.png?x=1")), "true 3");
  ASSERT_EQ(server_.requests().size(), 1u);
  EXPECT_EQ(server_.requests()[0].substr(0, 23), "GET /a/red.png?x=1 HTTP");
}

TEST_F(ImageFolder, KeepsWhatAFailedDownloadLeft) {
  server_.answer("/gone.gif", LoopbackServer::response("404 Not Found", "", sample("red.gif")));
  server_.serve("/page.gif", "<html></html>");
  server_.handle("/closed.gif", [](const std::string&) { return ""; });
  for (const std::string name : {"gone.gif", "page.gif", "closed.gif"}) {
    EXPECT_EQ(load(server_.url("/" + name)), "true") << name;
    EXPECT_EQ(base_.read("feed_imgs/" + name), name == "page.gif" ? "<html></html>" : "");
    const std::size_t requests = server_.requests().size();
    EXPECT_EQ(load(server_.url("/" + name)), "true") << name;
    EXPECT_EQ(server_.requests().size(), requests) << name;
  }
}

TEST_F(ImageFolder, MakesNoFileOfAnEmptyOrHostileName) {
  std::filesystem::create_symlink("../config/x", base_ / "feed_imgs/link");
  for (const char* target : {"/", "/img/", "/..", "/a\\b", "/..\\x", "/link"}) {
    EXPECT_EQ(load(server_.url(target)), "false, failure") << target;
  }
  EXPECT_TRUE(server_.requests().empty());
  EXPECT_FALSE(std::filesystem::exists(base_ / "config/x"));
  std::filesystem::remove_all(base_ / "feed_imgs");
  EXPECT_EQ(load(server_.url("/red.png")), "false, failure");
}

TEST_F(ImageFolder, IsOnlyReadWhenOffline) {
  goOffline();
  EXPECT_EQ(load(server_.url("/red.png")), "false");
  EXPECT_EQ(load(server_.url("/")), "false");
  EXPECT_EQ(load(""), "false");
  EXPECT_TRUE(std::filesystem::is_empty(base_ / "feed_imgs"));
  for (const char* name : {"red.png", "no-slash", "HTTP:"})
    base_.write(std::string("feed_imgs/") + name, sample("red.bmp"));
  for (const char* url : {"https://h/x/red.png", "http://red.png", "no-slash", "ftp://h/no-slash", "HTTP:"}) {
    EXPECT_EQ(load(url), "true 3") << url;
  }
}

TEST_F(ImageFolder, ReplacesAnEarlierPictureOnlyByAFileThatWasRead) {
  base_.write("feed_imgs/red.png", sample("red.png"));
  base_.write("feed_imgs/page", "<html>");
  goOffline();
  CPicture picture;
  picture.LoadFromURL("http://h/red.png", base_.name());
  const auto kept = picture.picture;
  EXPECT_FALSE(picture.LoadFromURL("", base_.name()) || picture.LoadFromURL("http://h/none", base_.name()));
  EXPECT_TRUE(kept && picture.picture == kept);
  EXPECT_TRUE(picture.LoadFromURL("http://h/page", base_.name()));
  EXPECT_FALSE(picture.picture);
  EXPECT_EQ(kept.use_count(), 1);
}

TEST(Picture, HasPixelsOfItsSizeOrIsNone) {
  const IPicture picture(2, 2, {0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(std::vector(picture.row(1).begin(), picture.row(1).end()),
            (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
  for (const auto& [width, height, size] : {std::tuple{0, 1, 0}, {1, 0, 0}, {-1, -1, 4}, {1, 1, 5}, {2, 1, 4}}) {
    EXPECT_THROW(IPicture(width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(size))),
                 std::invalid_argument);
  }
}
