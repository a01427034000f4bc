#include "quillmoria/CPicture.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include "platform/CFile.h"
#include "support/LoopbackServer.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

const std::string kRedPng = readSample("images/red.png");
const std::string kLargestPng = kRedPng + std::string((4 << 20) - kRedPng.size(), ' ');

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

  TemporaryBaseFolder base_;
  LoopbackServer server_;
  EnvironmentVariable online_{"QUILLMORIA_OFFLINE", "0"};
};

}  // namespace

TEST_F(ImageFolder, KeepsWhateverADownloadLeftAndNeverAsksAgain) {
  const auto ok = [](const std::string& body) { return LoopbackServer::response("200 OK", "", body); };
  const std::string gone = LoopbackServer::response("404 Not Found", "", kRedPng);
  for (const auto& [target, answer, kept] :
       {std::tuple<std::string, std::string, std::string>{"/a/red.png?x=1", ok(kRedPng), kRedPng},
        {"/a/largest.png", ok(kLargestPng), kLargestPng},
        {"/b/larger.png", ok(kLargestPng + ' '), ""},
        {"/b/gone.gif", gone, ""},
        {"/b/closed.gif", "", ""}}) {
    const std::string name = target.substr(3), result = kept.empty() ? "true" : "true3";
    server_.answer(target, answer);
    EXPECT_EQ(load(server_.url(target)), result) << target;
    EXPECT_TRUE(base_.read("feed_imgs/" + name) == kept) << target;
    EXPECT_EQ(server_.requests().back().substr(0, 5 + target.size()), "GET " + target + " ");
    const std::size_t requests = server_.requests().size();
    EXPECT_EQ(load("http://other.example/c/" + name), result) << target;
    EXPECT_EQ(server_.requests().size(), requests) << target;
  }
  EXPECT_EQ(load(server_.url("/no-name/")), "falseunhandled exception\n");
}

TEST_F(ImageFolder, LosesImagesThatNobodyUsesOnceItHoldsTooMuch) {
  for (const char* target : {"/new.png", "/newest.png"}) server_.serve(target, kLargestPng);
  for (const auto& [count, bytes, lastLost] : {std::tuple{5, 50 << 20, 3}, {16'383, 0, 4098}}) {
    const TemporaryBaseFolder base;
    const auto path = [&base](int number) { return base / ("feed_imgs/" + std::to_string(number)); };
    for (int i = 0; i < count; ++i) {
      base.write("feed_imgs/" + std::to_string(i), "");
      std::filesystem::resize_file(path(i), static_cast<std::uintmax_t>(bytes));
      const timeval used[2] = {{i, 0}, {i, 0}};
      utimes(path(i).c_str(), used);
    }
    CFile held;
    EXPECT_TRUE(held.Open(base.name() + "\\feed_imgs\\1", CFile::modeReplace));
    EXPECT_TRUE(CPicture().LoadFromURL("http://used/0", base.name()));
    EXPECT_TRUE(CPicture().LoadFromURL(server_.url("/new.png"), base.name()));
    EXPECT_TRUE(exists(path(2)));
    EXPECT_TRUE(CPicture().LoadFromURL(server_.url("/newest.png"), base.name()));
    for (const int lost : {2, lastLost}) EXPECT_FALSE(exists(path(lost))) << lost;
    for (const int kept : {0, 1, lastLost + 1}) EXPECT_TRUE(exists(path(kept))) << kept;
    EXPECT_TRUE(exists(base / "feed_imgs/new.png") && exists(base / "feed_imgs/newest.png"));
  }
}

TEST_F(ImageFolder, IsOnlyReadWhenOffline) {
  const EnvironmentVariable offline("QUILLMORIA_OFFLINE", "1");
  for (const std::string& url : {server_.url("/none"), server_.url("/"), std::string()}) EXPECT_EQ(load(url), "false");
  EXPECT_TRUE(std::filesystem::is_empty(base_ / "feed_imgs"));
  for (const char* name : {"red.png", "no-slash", "HTTP:"}) base_.write(std::string("feed_imgs/") + name, kRedPng);
  for (const char* url : {"https://h/x/red.png", "http://red.png", "no-slash", "ftp://h/no-slash", "HTTP:"}) {
    EXPECT_EQ(load(url), "true3") << url;
  }
}

TEST_F(ImageFolder, ReplacesAnEarlierPictureOnlyByAFileThatWasRead) {
  base_.write("feed_imgs/red.png", kRedPng);
  base_.write("feed_imgs/page", "<html>");
  const EnvironmentVariable offline("QUILLMORIA_OFFLINE", "1");
  CPicture picture;
  picture.LoadFromURL("http://h/red.png", base_.name());
  const auto kept = picture.picture;
  EXPECT_FALSE(picture.LoadFromURL("", base_.name()) || picture.LoadFromURL("http://h/none", base_.name()));
  EXPECT_TRUE(kept && picture.picture == kept);
  EXPECT_TRUE(picture.LoadFromURL("http://h/page", base_.name()));
  EXPECT_TRUE(!picture.picture && kept.use_count() == 1);
}
