#include "platform/CFile.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <thread>

#include "support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr CFile::OpenFlags kEveryMode[] = {CFile::modeRead, CFile::modeCreate, CFile::modeReplace};

/// What is below the folder: names with contents, or with the kind of what has none.
std::map<std::string, std::string> tree(const TemporaryBaseFolder& base) {
  std::map<std::string, std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(base / "")) {
    const std::string name = fs::relative(entry.path(), base / "").string();
    const bool isFile = fs::is_regular_file(entry.symlink_status());
    found[name] = isFile ? base.read(name) : std::to_string(static_cast<int>(entry.symlink_status().type()));
  }
  return found;
}

bool store(const std::string& path, CFile::OpenFlags mode, const std::string& bytes) {
  CFile file;
  if (!file.Open(path, mode)) return false;
  file.Write(bytes.data(), bytes.size());
  file.Close();
  return true;
}

/// Runs `act` in another process, which then ends without any clean-up; its exit status.
int inAnotherProcess(const std::function<int()>& act) {
  const pid_t child = fork();
  if (child == 0) _exit(act());
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Names : public testing::Test {
 protected:
  Names() {
    fs::create_directory(base_ / "cache/sub");
    fs::create_directory(base_ / "outside");
    base_.write("outside/file", "secret");
    base_.write("cache/file", "old");
    fs::create_symlink("file", base_ / "cache/link");
    fs::create_symlink("nothing", base_ / "cache/dangling");
    fs::create_directory_symlink("../outside", base_ / "cache/linked");
    mkfifo((base_ / "cache/fifo").c_str(), 0600);
  }
  std::string path(const std::string& name) const { return base_.name() + "\\cache\\" + name; }

  TemporaryBaseFolder base_;
};

}  // namespace

TEST_F(Names, ThatLeaveTheFolderOrAreNoFileNeitherOpenNorChangeAnything) {
  const auto before = tree(base_);
  const std::string refused[] = {"",
                                 ".",
                                 "..",
                                 "../outside/file",
                                 "sub/../file",
                                 "sub/..",
                                 "/file",
                                 "sub",
                                 "sub/",
                                 "file/x",
                                 "missing/x",
                                 "x\\file",
                                 "..\\outside\\file",
                                 std::string("x\0y", 3),
                                 "link",
                                 "dangling",
                                 "linked/file",
                                 "linked/new",
                                 "fifo",
                                 std::string(256, 'n')};
  for (const std::string& name : refused) {
    for (const auto mode : kEveryMode) EXPECT_FALSE(CFile().Open(path(name), mode)) << name << " in mode " << mode;
  }
  for (const char* folder : {"\\outside\\file", "\\cache", "file", "", "\\", "\\file"}) {
    for (const auto mode : kEveryMode) EXPECT_FALSE(CFile().Open(base_.name() + folder, mode)) << folder;
  }
  EXPECT_EQ(tree(base_), before);
}

TEST_F(Names, ThatStayInTheFolderAreFilesThere) {
  const std::string accepted[] = {"a b", "logo.gif?x=1&y=a:b*", "..x", "sub/x", "./y", "sub//z",
                                  ":",   std::string(255, 'n')};
  for (const std::string& name : accepted) {
    for (const auto mode : {CFile::modeCreate, CFile::modeReplace}) {
      EXPECT_TRUE(store(path(name), mode, "longer than what follows")) << name;
      EXPECT_TRUE(store(path(name), mode, name)) << name;
      EXPECT_EQ(base_.read("cache/" + name), name);
    }
  }
}

TEST(BaseFolder, IsTakenAsItIs) {
  const TemporaryBaseFolder base;
  fs::create_directories(base / "a\\cache\\b/cache");
  fs::create_directory_symlink(base / "cache", base / "a\\cache\\b/config");
  EXPECT_TRUE(store((base / "a\\cache\\b").string() + "\\cache\\x", CFile::modeCreate, "x"));
  EXPECT_TRUE(store((base / "a\\cache\\b").string() + "\\config\\y", CFile::modeReplace, "y"));
  EXPECT_EQ(base.read("a\\cache\\b/cache/x") + base.read("cache/y"), "xy");
}

class Replacing : public Names {
 protected:
  const std::string file_ = path("file");
};

TEST_F(Replacing, ShowsNothingBeforeCloseAndKeepsPermissions) {
  fs::permissions(base_ / "cache/file", fs::perms(0640));
  CFile file;
  ASSERT_TRUE(file.Open(file_, CFile::modeReplace));
  file.Write("new", 3);
  EXPECT_EQ(base_.read("cache/file"), "old");
  file.Close();
  EXPECT_EQ(base_.read("cache/file"), "new");
  EXPECT_EQ(fs::status(base_ / "cache/file").permissions(), fs::perms(0640));
}

TEST_F(Replacing, LeavesTheOldFileAloneIfItIsGivenUpOrFails) {
  const auto before = tree(base_);
  {
    CFile file;
    ASSERT_TRUE(file.Open(file_, CFile::modeReplace));
    file.Write("new", 3);
  }
  EXPECT_EQ(tree(base_), before);
  EXPECT_EQ(inAnotherProcess([&] {
              signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{2, 2};
              setrlimit(RLIMIT_FSIZE, &limit);
              try {
                store(file_, CFile::modeReplace, "new");
              } catch (const CFileException&) {
                return 7;
              }
              return 0;
            }),
            7);
  EXPECT_EQ(tree(base_), before);
}

TEST_F(Replacing, SurvivesAKillAndTakesOverWhatIsLeft) {
  const std::size_t before = tree(base_).size();
  inAnotherProcess([&] {
    CFile file;
    file.Open(file_, CFile::modeReplace);
    file.Write("cut off in the middle", 21);
    return kill(getpid(), SIGKILL);
  });
  EXPECT_EQ(base_.read("cache/file"), "old");
  EXPECT_EQ(tree(base_).size(), before + 1);
  EXPECT_TRUE(store(file_, CFile::modeReplace, "new"));
  EXPECT_EQ(base_.read("cache/file"), "new");
  EXPECT_EQ(tree(base_).size(), before);
}

TEST_F(Replacing, IsRefusedWhileAnotherHoldsTheFile) {
  CFile first;
  ASSERT_TRUE(first.Open(file_, CFile::modeReplace));
  EXPECT_FALSE(CFile().Open(file_, CFile::modeReplace));
  first.Close();
  const int other = open((base_ / "cache/file").c_str(), O_RDONLY | O_CLOEXEC);
  flock(other, LOCK_SH);
  const auto before = tree(base_);
  EXPECT_FALSE(CFile().Open(file_, CFile::modeReplace));
  EXPECT_EQ(tree(base_), before);
  close(other);
  EXPECT_TRUE(CFile().Open(file_, CFile::modeReplace));
}

TEST_F(Replacing, NeverShowsAHalfFileHoweverManyReplaceAtOnce) {
  const std::string texts[] = {std::string(10000, 'a'), std::string(20000, 'b')};
  ASSERT_TRUE(store(file_, CFile::modeReplace, texts[0]));
  const auto replaceOften = [&](const std::string& text) {
    for (int i = 0; i < 500; ++i) store(file_, CFile::modeReplace, text);
  };
  std::thread a(replaceOften, texts[0]), b(replaceOften, texts[1]);
  for (int i = 0; i < 500; ++i) {
    const std::string seen = base_.read("cache/file");
    EXPECT_TRUE(seen == texts[0] || seen == texts[1]) << seen.size();
  }
  a.join(), b.join();
}
