#include "quillmoria/CPicture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace {

std::string redPng() {
  std::ostringstream bytes;
  bytes << std::ifstream(QUILLMORIA_SAMPLES "/images/red.png", std::ios::binary).rdbuf();
  return bytes.str();
}

class ImageFolder : public testing::Test {
 protected:
  /// What a load gives and prints: "true", with the picture's width if there is one, or "false".
  std::string load(const std::string& url) {
    CPicture picture;
    testing::internal::CaptureStdout();
    const std::string result = picture.LoadFromURL(url, base_.name()) ? "true" : "false";
    std::fflush(stdout);
    const std::string printed = testing::internal::GetCapturedStdout();
    return result + (picture.picture ? std::to_string(picture.picture->width()) : "") + printed;
  }
  void goOffline() { offline_ = std::make_unique<EnvironmentVariable>("QUILLMORIA_OFFLINE", "1"); }

  TemporaryBaseFolder base_;
  LoopbackServer server_;
  EnvironmentVariable online_{"QUILLMORIA_OFFLINE", "0"};
  std::unique_ptr<EnvironmentVariable> offline_;
};

}  // namespace

TEST_F(ImageFolder, KeepsWhateverADownloadLeftAndNeverAsksAgain) {
  server_.serve("/a/red.png?x=1", redPng());
  server_.answer("/b/gone.gif", LoopbackServer::response("404 Not Found", "", redPng()));
  server_.handle("/b/closed.gif", [](const std::string&) { return ""; });
  const struct {
    std::string target, name, file, result;
  } rows[] = {{"/a/red.png?x=1", "red.png?x=1", redPng(), "true3"},
              {"/b/gone.gif", "gone.gif", "", "true"},
              {"/b/closed.gif", "closed.gif", "", "true"}};
  for (const auto& [target, name, file, result] : rows) {
    EXPECT_EQ(load(server_.url(target)), result) << target;
    EXPECT_EQ(base_.read("feed_imgs/" + name), file) << target;
    EXPECT_EQ(server_.requests().back().substr(0, 5 + target.size()), "GET " + target + " ");
    const std::size_t requests = server_.requests().size();
    EXPECT_EQ(load("http://other.example/c/" + name), result) << target;
    EXPECT_EQ(server_.requests().size(), requests) << target;
  }
}

TEST_F(ImageFolder, GetsNoFileOfAnEmptyOrHostileName) {
  std::filesystem::create_symlink("../config/x", base_ / "feed_imgs/link");
  for (const char* target : {"/", "/img/", "/..", "/a\\b", "/..\\x", "/link"}) {
    EXPECT_EQ(load(server_.url(target)), "falseunhandled exception\n") << target;
  }
  EXPECT_TRUE(server_.requests().empty());
  EXPECT_FALSE(std::filesystem::exists(base_ / "config/x"));
}

TEST_F(ImageFolder, IsOnlyReadWhenOffline) {
  goOffline();
  for (const std::string& url : {server_.url("/none"), server_.url("/"), std::string()}) EXPECT_EQ(load(url), "false");
  EXPECT_TRUE(std::filesystem::is_empty(base_ / "feed_imgs"));
  for (const char* name : {"red.png", "no-slash", "HTTP:"}) base_.write(std::string("feed_imgs/") + name, redPng());
  for (const char* url : {"https://h/x/red.png", "http://red.png", "no-slash", "ftp://h/no-slash", "HTTP:"}) {
    EXPECT_EQ(load(url), "true3") << url;
  }
}

TEST_F(ImageFolder, ReplacesAnEarlierPictureOnlyByAFileThatWasRead) {
  base_.write("feed_imgs/red.png", redPng());
  base_.write("feed_imgs/page", "<html>");
  goOffline();
  CPicture picture;
  picture.LoadFromURL("http://h/red.png", base_.name());
  const auto kept = picture.picture;
  EXPECT_FALSE(picture.LoadFromURL("", base_.name()) || picture.LoadFromURL("http://h/none", base_.name()));
  EXPECT_TRUE(kept && picture.picture == kept);
  EXPECT_TRUE(picture.LoadFromURL("http://h/page", base_.name()));
  EXPECT_TRUE(!picture.picture && kept.use_count() == 1);
}
