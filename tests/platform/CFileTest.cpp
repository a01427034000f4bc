#include "platform/CFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <deque>
#include <iostream>
#include <regex>
#include <set>

#include "platform/Text.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

/// Stores `bytes`, of which the four from `changeableAt` on may change in place.
bool store(const std::string& path, const std::string& bytes, std::size_t changeableAt = 1 << 20) {
  CFile file;
  if (!file.Open(path, CFile::modeReplace)) return false;
  const std::size_t part = std::min(changeableAt, bytes.size());
  file.Write(bytes.data(), part);
  if (part == changeableAt) file.MarkChangeable(4);
  file.Write(bytes.data() + part, bytes.size() - part);
  file.Close();
  return true;
}

class Files : public testing::Test {
 protected:
  Files() {
    fs::create_directory(base_ / "cache/sub");
    base_.write("secret", "kept");
    base_.write("cache/file", "old");
    fs::create_symlink("file", base_ / "cache/link");
    fs::create_symlink("nothing", base_ / "cache/dangling");
    fs::create_directory_symlink("..", base_ / "cache/linked");
    fs::create_directory_symlink(".", base_ / "a\\cache\\b");
    fs::create_hard_link(base_ / "secret", base_ / "cache/hard");
    mkfifo((base_ / "cache/fifo").c_str(), 0600);
  }

  bool opens(const std::string& path, CFile::OpenFlags mode) const { return CFile().Open(base_.name() + path, mode); }

  TemporaryBaseFolder base_;
  const std::string cache_ = base_.name() + "\\cache\\", file_ = cache_ + "file";
};

}  // namespace

TEST_F(Files, UnderNamesThatLeaveTheFolderOrAreNoFileNeitherOpenNorChange) {
  const auto before = base_.tree();
  for (const auto& [path] : readTable<1>("platform/refused-paths.txt")) {
    for (const auto mode : {CFile::modeRead, CFile::modeReplace}) EXPECT_FALSE(opens(path, mode)) << path;
  }
  EXPECT_FALSE(store(cache_ + std::string(256, 'n'), ""));
  EXPECT_EQ(base_.tree(), before);
}

TEST_F(Files, UnderNamesThatStayInTheFolderAreThereAfterOthersThatEveryFileSystemTakes) {
  const auto names = readTable<1>("platform/names.txt");
  const auto before = base_.tree();
  std::deque<CFile> files;
  for (const auto& [name] : names) {
    EXPECT_TRUE(files.emplace_back().Open(base_.name() + "/a\\cache\\b\\cache\\" + name, CFile::modeReplace)) << name;
    files.back().Write(name.data(), name.size());
  }
  std::set<std::string> temporaries;
  for (const auto& [path, bytes] : base_.tree()) {
    if (before.contains(path)) continue;
    const std::string name = quillmoria::lowerAscii(path.substr(path.rfind('/') + 1));
    EXPECT_FALSE(opens("\\cache\\" + name, CFile::modeRead));
    for (const auto& [why, pattern] : readTable<2>("platform/refused-names.tsv")) {
      EXPECT_FALSE(std::regex_search(name, std::regex(pattern))) << name << ": " << why;
    }
    temporaries.insert(name);
  }
  EXPECT_EQ(temporaries.size(), files.size());
  for (CFile& file : files) file.Close();
  for (const auto& [name] : names) EXPECT_EQ(base_.read("cache/" + name), name);
}

TEST(FatFiles, AreMadeAndReplaced) {
  const TemporaryBaseFolder outer;
  const auto run = [&outer](const std::string& command) {
    return std::system(("cd " + outer.name() + " && PATH=$PATH:/usr/sbin && (" + command + ") >log 2>&1").c_str()) == 0;
  };
  if (!run("mkdir fat && mkfs.vfat -C disk 4096 && (mount -o loop disk fat || fusefat -o rw+ disk fat)")) {
    std::cout << "Not run, as no FAT file system can be mounted: " << outer.read("log");
    return;
  }
  {
    const EnvironmentVariable there("TMPDIR", (outer / "fat").c_str());
    const TemporaryBaseFolder base;
    for (const std::string name : {"feed", "Feed 2", "a name of more than eight letters.and.three", "aux.gif"}) {
      for (const std::string bytes : {"first", "second"}) {
        EXPECT_TRUE(store(base.name() + "\\cache\\" + name, bytes)) << name;
        EXPECT_EQ(base.read("cache/" + name), bytes) << name;
      }
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(base / "cache"), {}), 4);
  }
  EXPECT_TRUE(run("umount fat || fusermount -u fat"));
}

TEST_F(Files, ReplacedOnesChangeAtCloseAndNotIfTheyAreGivenUp) {
  fs::permissions(base_ / "cache/file", fs::perms(0640));
  const auto before = base_.tree();
  {
    CFile file, limited;
    ASSERT_TRUE(file.Open(file_, CFile::modeReplace) && limited.Open(cache_ + "fresh", CFile::modeReplace, 3));
    file.Write("new", 3);
    EXPECT_EQ(base_.read("cache/file"), "old");
    limited.Write("new", 3);
    EXPECT_THROW(limited.Write("s", 1), CFileLimitException);
    limited.Close();
  }
  EXPECT_EQ(base_.tree(), before);
  EXPECT_TRUE(store(file_, "new"));
  EXPECT_EQ(base_.read("cache/file"), "new");
  EXPECT_EQ(fs::status(base_ / "cache/file").permissions(), fs::perms(0640));
}

TEST_F(Files, ReplacedOnesStayWithANewTimeIfTheyChangeOnlyWhereTheyMay) {
  for (const auto& [before, after, at, count, changeableAt, stays] : readTable<6>("platform/replaced.tsv")) {
    const std::string why = before + ' ' + after + ' ' + at + ' ' + count + ' ' + changeableAt;
    const std::string bytes =
        std::string(std::stoul(after), 'a').replace(std::stoul(at), std::stoul(count), std::stoul(count), 'b');
    base_.write("cache/file", std::string(std::stoul(before), 'a'));
    base_.write("cache/nb812y7g.qmu", "left by a process that was killed");
    fs::last_write_time(base_ / "cache/file", {});
    struct stat first, last;
    stat((base_ / "cache/file").c_str(), &first);
    EXPECT_TRUE(store(file_, bytes, std::stoul(changeableAt)));
    stat((base_ / "cache/file").c_str(), &last);
    EXPECT_TRUE(base_.read("cache/file") == bytes) << why;
    EXPECT_EQ(first.st_ino == last.st_ino ? "stays" : "goes", stays) << why;
    EXPECT_NE(last.st_mtime, first.st_mtime) << why;
    EXPECT_FALSE(fs::exists(base_ / "cache/nb812y7g.qmu")) << why;
  }
}

TEST_F(Files, WithAnotherNameAreReplacedUnderTheirOwn) {
  EXPECT_TRUE(store(cache_ + "hard", "kepT", 0));
  EXPECT_EQ(base_.read("cache/hard") + base_.read("secret"), "kepTkept");
}

TEST_F(Files, ReplacedByTheSameAreMadeIfTheyHaveGone) {
  CFile file;
  ASSERT_TRUE(file.Open(file_, CFile::modeReplace));
  file.Write("old", 3);
  fs::remove(base_ / "cache/file");
  file.Close();
  EXPECT_EQ(base_.read("cache/file"), "old");
}

TEST_F(Files, ReplacedOnesAreHeldByOneAtATimeWhateverItsChildrenHold) {
  for (const char* name : {"\\cache\\file", "\\cache\\fresh"}) {
    CFile held;
    ASSERT_TRUE(held.Open(base_.name() + name, CFile::modeReplace));
    EXPECT_FALSE(opens(name, CFile::modeReplace)) << name;
    const pid_t child = fork();
    if (child == 0) pause();
    held.Close();
    EXPECT_TRUE(opens(name, CFile::modeReplace)) << name;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}
