#include "WholeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Failure.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void failToWrite(const std::string& path, int error) {
  throw Failure(kFailed, path + " cannot be written: " + std::strerror(error));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }
  bool isOpen() const { return number_ >= 0; }

 private:
  int number_;
};

bool writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// The rename itself is on the disk only with its folder.
void syncFolder(const fs::path& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.isOpen()) ::fsync(descriptor.number());
}

void writeTo(const std::string& path, std::string_view text) {
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!file.isOpen() || !writeAll(file.number(), text)) failToWrite(path, errno);
}

/// A file beside the one that it replaces at the end; gone if it never does.
class Replacement {
 public:
  explicit Replacement(const std::string& target)
      : target_(target), name_(target + ".XXXXXX"), file_(::mkostemp(name_.data(), O_CLOEXEC)) {
    if (!file_.isOpen()) failToWrite(target_, errno);
  }
  ~Replacement() {
    if (!isDone_) ::unlink(name_.c_str());
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  void write(std::string_view text) {
    struct stat before = {};
    if (::stat(target_.c_str(), &before) == 0) ::fchmod(file_.number(), before.st_mode & 07777);
    if (!writeAll(file_.number(), text) || ::fsync(file_.number()) != 0 ||
        ::rename(name_.c_str(), target_.c_str()) != 0) {
      failToWrite(target_, errno);
    }
    isDone_ = true;
    syncFolder(fs::path(target_).parent_path());
  }

 private:
  const std::string target_;
  std::string name_;
  Descriptor file_;
  bool isDone_ = false;
};

}  // namespace

void replaceFile(const std::string& path, std::string_view text) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(fs::absolute(path, error), error);
  if (error) failToWrite(path, error.value());
  if (fs::exists(target, error) && !fs::is_regular_file(target, error)) return writeTo(path, text);
  Replacement(target.string()).write(text);
}

FolderLock::FolderLock(const std::string& folder)
    : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor_ < 0) {
    throw Failure(kWrongUse, "the folder " + folder + " cannot be opened: " + std::strerror(errno));
  }
  while (::flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
  }
}

FolderLock::~FolderLock() { ::close(descriptor_); }

}  // namespace quillmoria
