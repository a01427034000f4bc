#pragma once

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <system_error>
#include <utility>

namespace quillmoria {

/// Owns one file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }

 private:
  int number_;
};

/// Opens `name`, relative to the directory `directory` (or AT_FDCWD). Throws std::system_error where descriptors or
/// memory lack, since that says nothing about the file.
inline Descriptor open(int directory, const char* name, int flags) {
  Descriptor file(::openat(directory, name, flags | O_CLOEXEC, 0666));
  if (!file && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) {
    throw std::system_error(errno, std::generic_category());
  }
  return file;
}

/// As open, but only regular files; nothing else stays open. Does not wait for the other end of a FIFO.
inline Descriptor openRegular(int directory, const char* name, int flags) {
  Descriptor file = open(directory, name, flags | O_NONBLOCK | O_NOCTTY);
  struct stat state;
  if (!file || ::fstat(file.get(), &state) != 0 || !S_ISREG(state.st_mode)) return Descriptor();
  return file;
}

/// Reads until `count` bytes are there or the file ends; their number, or -1.
inline ssize_t readFully(int file, void* buffer, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t n = ::read(file, static_cast<char*>(buffer) + done, count - done);
    if (n == 0) break;
    if (n > 0) {
      done += static_cast<std::size_t>(n);
    } else if (errno != EINTR) {
      return -1;
    }
  }
  return static_cast<ssize_t>(done);
}

}  // namespace quillmoria
