#include "reader/RunningReader.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "Failure.h"

namespace quillmoria {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMaxAddressBytes = 512;
constexpr auto kPatience = 3s;

[[noreturn]] void refuse(const std::string& path, int error) {
  throw Failure(kFailed, "the file " + path + " cannot be used (" + std::strerror(error) +
                             "): check who may write there, or choose another base folder with --base DIR");
}

int openFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) refuse(path, errno);
  return descriptor;
}

/// A reader that ends takes its file away; what is locked then is nobody's any more.
bool isStillThere(int descriptor) {
  struct stat file {};
  return fstat(descriptor, &file) == 0 && file.st_nlink > 0;
}

std::string contentOf(int descriptor) {
  char text[kMaxAddressBytes];
  const ssize_t size = pread(descriptor, text, sizeof text, 0);
  return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : "";
}

}  // namespace

RunningReader::RunningReader(const std::string& baseFolder)
    : path_((std::filesystem::path(baseFolder) / "reader.address").string()) {
  while (true) {
    descriptor_ = openFile(path_);
    isAnother_ = flock(descriptor_, LOCK_EX | LOCK_NB) != 0;
    if (isStillThere(descriptor_)) break;
    close(descriptor_);
  }
  // What a reader has left that was killed.
  if (!isAnother_ && ftruncate(descriptor_, 0) != 0) {
    const int error = errno;
    close(descriptor_);
    refuse(path_, error);
  }
}

RunningReader::~RunningReader() {
  if (!isAnother_) unlink(path_.c_str());
  close(descriptor_);
}

std::string RunningReader::address() const {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  std::string address = contentOf(descriptor_);
  while (address.empty() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(20ms);
    address = contentOf(descriptor_);
  }
  return address;
}

void RunningReader::tell(const std::string& address) const {
  const ssize_t written = pwrite(descriptor_, address.data(), address.size(), 0);
  if (written != static_cast<ssize_t>(address.size())) refuse(path_, written < 0 ? errno : ENOSPC);
}

}  // namespace quillmoria
