#include "platform/CFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

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

  bool store(const std::string& path, const std::string& bytes, CFile::OpenFlags mode = CFile::modeReplace) const {
    CFile file;
    if (!file.Open(base_.name() + path, mode)) return false;
    file.Write(bytes.data(), bytes.size());
    file.Close();
    return true;
  }

  TemporaryBaseFolder base_;
};

constexpr char kFile[] = "\\cache\\file";

}  // namespace

TEST_F(Files, UnderNamesThatLeaveTheFolderOrAreNoFileNeitherOpenNorChange) {
  const auto before = base_.tree();
  for (const auto& [path] : readTable<1>("platform/refused-paths.txt")) {
    for (const auto mode : {CFile::modeRead, CFile::modeCreate, CFile::modeReplace}) {
      EXPECT_FALSE(opens(path, mode)) << path;
    }
  }
  EXPECT_FALSE(store("\\cache\\" + std::string(256, 'n'), ""));
  EXPECT_FALSE(opens("\\cache\\hard", CFile::modeCreate)) << "a name of another file";
  EXPECT_EQ(base_.tree(), before);
}

TEST_F(Files, UnderNamesThatStayInTheFolderAreThere) {
  const std::string longest(255, 'n');
  for (const std::string& name : {"a b"s, "logo.gif?x&y=a:b*"s, "..x"s, "sub/x"s, "./y"s, "sub//z"s, longest}) {
    for (const auto mode : {CFile::modeCreate, CFile::modeReplace}) {
      EXPECT_TRUE(store("\\cache\\" + name, "longer than what follows", mode)) << name;
      EXPECT_TRUE(store("/a\\cache\\b\\cache\\" + name, name.substr(0, 9), mode)) << name;
      EXPECT_EQ(base_.read("cache/" + name), name.substr(0, 9));
    }
  }
}

TEST_F(Files, ReplacedOnesChangeAtCloseAndNotIfTheyAreGivenUp) {
  fs::permissions(base_ / "cache/file", fs::perms(0640));
  const auto before = base_.tree();
  {
    CFile file;
    ASSERT_TRUE(file.Open(base_.name() + kFile, CFile::modeReplace));
    file.Write("new", 3);
    EXPECT_EQ(base_.read("cache/file"), "old");
  }
  EXPECT_EQ(base_.tree(), before);
  EXPECT_TRUE(store(kFile, "new"));
  EXPECT_EQ(base_.read("cache/file"), "new");
  EXPECT_EQ(fs::status(base_ / "cache/file").permissions(), fs::perms(0640));
}

TEST_F(Files, ReplacedByAlmostTheSameStayWithANewTime) {
  const fs::path path = base_ / "cache/file";
  const auto inode = [&path] {
    struct stat state {};
    EXPECT_EQ(::stat(path.c_str(), &state), 0);
    return state.st_ino;
  };
  const std::string medium(200'000, 'm');
  const std::string large(300'000, 'l');
  const auto changed = [](std::string bytes, std::size_t at, std::size_t count) {
    return bytes.replace(at, count, std::string(count, 'x'));
  };
  for (const auto& [before, after, stays] : {std::tuple{"old"s, "old"s, true},
                                             {"old", "olD", true},
                                             {"old", "olds", false},
                                             {"old", "ol", false},
                                             {"old", "", false},
                                             {"", "", true},
                                             {"", "new", false},
                                             {medium, medium, true},
                                             {medium, changed(medium, 0, 8), true},
                                             {medium, changed(medium, 504, 8), true},
                                             {medium, changed(medium, 199'992, 8), true},
                                             {medium, changed(medium, 8, 9), false},
                                             {medium, changed(medium, 511, 2), false},
                                             {medium, changed(medium, 16'383, 2), false},
                                             {medium, changed(changed(medium, 7, 1), 150'000, 1), false},
                                             {large, large, false},
                                             {large, "l", false}}) {
    base_.write("cache/file", before);
    base_.write("cache/:\\file", "left by a process that was killed");
    fs::last_write_time(path, {});
    const ino_t first = inode();
    EXPECT_TRUE(store(kFile, after));
    EXPECT_TRUE(base_.read("cache/file") == after) << before.size() << ' ' << after.size();
    EXPECT_EQ(inode() == first, stays) << before.size() << ' ' << after.size();
    EXPECT_NE(fs::last_write_time(path), fs::file_time_type()) << after.size();
    EXPECT_FALSE(fs::exists(base_ / "cache/:\\file"));
  }
}

TEST_F(Files, WithAnotherNameAreReplacedUnderTheirOwn) {
  EXPECT_TRUE(store("\\cache\\hard", "kepT"));
  EXPECT_EQ(base_.read("cache/hard"), "kepT");
  EXPECT_EQ(base_.read("secret"), "kept");
}

TEST_F(Files, ReplacedByTheSameAreMadeIfTheyHaveGone) {
  CFile file;
  ASSERT_TRUE(file.Open(base_.name() + kFile, CFile::modeReplace));
  file.Write("old", 3);
  fs::remove(base_ / "cache/file");
  file.Close();
  EXPECT_EQ(base_.read("cache/file"), "old");
}

TEST_F(Files, ReplacedOnesAreHeldByOneAtATime) {
  for (const char* name : {"\\cache\\file", "\\cache\\fresh"}) {
    CFile held;
    ASSERT_TRUE(held.Open(base_.name() + name, CFile::modeReplace));
    EXPECT_FALSE(opens(name, CFile::modeReplace)) << name;
    held.Close();
    EXPECT_TRUE(opens(name, CFile::modeReplace)) << name;
  }
}
