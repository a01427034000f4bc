#include "platform/CFile.h"

#include <stdio.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/posix/EngineFile.h"

using quillmoria::Descriptor;
using quillmoria::isStillNamed;
using quillmoria::locate;
using quillmoria::LockedFile;
using quillmoria::openForOneself;
using quillmoria::openRegular;
using quillmoria::Place;
using quillmoria::temporaryName;

namespace {

constexpr std::size_t kMaxPending = std::size_t{256} << 10;

bool isThere(int directory, const std::string& name) {
  struct stat state;
  return ::fstatat(directory, name.c_str(), &state, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

/// Bytes of a file, from `begin` to before `end`.
struct Range {
  std::size_t begin = 0;
  std::size_t end = 0;

  /// Whether a disk writes them at once or not at all.
  bool isWithinABlock() const {
    constexpr std::size_t kBlock = 512;
    return begin == end || begin / kBlock == (end - 1) / kBlock;
  }
};

/// Whether `file` holds `bytes` from `at` on.
bool holds(int file, std::size_t at, std::string_view bytes) {
  char buffer[16 << 10];
  while (!bytes.empty()) {
    const std::string_view wanted = bytes.substr(0, sizeof buffer);
    const ssize_t done = ::pread(file, buffer, wanted.size(), static_cast<off_t>(at));
    if (done != static_cast<ssize_t>(wanted.size()) || std::string_view(buffer, wanted.size()) != wanted) return false;
    at += wanted.size();
    bytes.remove_prefix(wanted.size());
  }
  return true;
}

/// Whether `file` can be made to hold `bytes` by changing those in `range` alone, and has no other name, which may
/// stand in another folder.
bool differsOnlyIn(Range range, std::string_view bytes, int file) {
  struct stat state;
  return ::fstat(file, &state) == 0 && state.st_nlink <= 1 &&
         static_cast<std::uint64_t>(state.st_size) == bytes.size() && range.isWithinABlock() &&
         holds(file, 0, bytes.substr(0, range.begin)) && holds(file, range.end, bytes.substr(range.end));
}

void writeFully(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(file, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) throw CFileException("file cannot be written");
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
}

/// Removes what a process left that was killed; not what another is writing.
void removeUnfinished(int directory, const std::string& temporary) {
  const LockedFile unfinished = openForOneself(directory, temporary, O_WRONLY);
  if (unfinished) ::unlinkat(directory, temporary.c_str(), 0);
}

/// Errors of deferred writing are told at a close, and must be known while the file is still locked.
bool closesWell(int file) {
  const int duplicate = ::fcntl(file, F_DUPFD_CLOEXEC, 0);
  return duplicate >= 0 && ::close(duplicate) == 0;
}

}  // namespace

struct CFile::Handle {
  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (successor) ::unlinkat(directory.get(), temporaryName(name).c_str(), 0);
  }

  bool replaces() const { return static_cast<bool>(directory); }
  bool openToReplace(Place place);
  bool makeSuccessor();
  void writePending();
  bool changeInPlace();
  void putInPlace();

  // Under modeRead:
  Descriptor read;

  // Under modeReplace:
  Descriptor directory;
  std::string name;                 ///< in `directory`
  LockedFile existing;              ///< the file of that name, if there is one
  LockedFile successor;             ///< what is put in its place, under its temporary name; may not be there yet
  std::string pending;              ///< the end of what is written, which goes to the system in large pieces
  std::uint64_t writableBytes = 0;  ///< how many more may be written
  Range changeable;                 ///< of what is written, as long as all of it is pending
};

bool CFile::Handle::openToReplace(Place place) {
  directory = std::move(place.directory);
  name = std::move(place.name);
  existing = openForOneself(directory.get(), name, O_RDWR);
  return existing || (!isThere(directory.get(), name) && makeSuccessor());
}

/// Makes the file that takes the place of the existing one, with its permissions; or takes what a process left that was
/// killed, but not if that has another name as well, which may stand in another folder.
bool CFile::Handle::makeSuccessor() {
  LockedFile made = openForOneself(directory.get(), temporaryName(name), O_WRONLY | O_CREAT);
  struct stat state;
  if (!made || ::fstat(made.get(), &state) != 0 || state.st_nlink > 1 || ::ftruncate(made.get(), 0) != 0) return false;
  if (existing && ::fstat(existing.get(), &state) == 0) ::fchmod(made.get(), state.st_mode & 0777);
  successor = std::move(made);
  return true;
}

void CFile::Handle::writePending() {
  if (!successor && !makeSuccessor()) throw CFileException("file cannot be made");
  writeFully(successor.get(), pending);
  pending.clear();
}

/// True if the existing file could be made to hold what was written without being replaced.
bool CFile::Handle::changeInPlace() {
  const Range range{std::min(changeable.begin, pending.size()), std::min(changeable.end, pending.size())};
  if (successor || !isStillNamed(existing.get(), directory.get(), name) ||
      !differsOnlyIn(range, pending, existing.get())) {
    return false;
  }
  const std::string_view bytes = std::string_view(pending).substr(range.begin, range.end - range.begin);
  const ssize_t done = ::pwrite(existing.get(), bytes.data(), bytes.size(), static_cast<off_t>(range.begin));
  if (done != static_cast<ssize_t>(bytes.size())) return false;
  ::futimens(existing.get(), nullptr);
  removeUnfinished(directory.get(), temporaryName(name));
  return true;
}

/// What is open cannot be replaced on every file system, so that the existing file is let go of first; whoever takes it
/// before it is replaced cannot make a successor meanwhile.
void CFile::Handle::putInPlace() {
  writePending();
  if (!closesWell(successor.get())) throw CFileException("file cannot be written");
  existing = LockedFile();
  if (::renameat(directory.get(), temporaryName(name).c_str(), directory.get(), name.c_str()) != 0) {
    throw CFileException("file cannot be put in place");
  }
  successor = LockedFile();
}

CFile::CFile() = default;

CFile::~CFile() = default;

bool CFile::Open(const std::string& path, OpenFlags flags, std::uint64_t maxBytes) {
  handle_.reset();
  std::optional<Place> place = locate(path);
  if (!place) return false;
  auto handle = std::make_unique<Handle>();
  if (flags == modeReplace) {
    handle->writableBytes = maxBytes;
    if (!handle->openToReplace(std::move(*place))) return false;
  } else {
    handle->read = openRegular(place->directory.get(), place->name.c_str(), O_RDONLY | O_NOFOLLOW);
    if (!handle->read) return false;
  }
  handle_ = std::move(handle);
  return true;
}

void CFile::Remove(const std::string& path) {
  const std::optional<Place> place = locate(path);
  if (place) ::unlinkat(place->directory.get(), place->name.c_str(), 0);
}

std::size_t CFile::Read(void* buffer, std::size_t count) {
  const ssize_t done = handle_ ? quillmoria::readFully(handle_->read.get(), buffer, count) : -1;
  if (done < 0) throw CFileException("file cannot be read");
  return static_cast<std::size_t>(done);
}

void CFile::Write(const void* buffer, std::size_t count) {
  std::unique_ptr<Handle> handle = std::move(handle_);
  if (!handle || !handle->replaces()) throw CFileException("file cannot be written");
  if (count > handle->writableBytes) throw CFileLimitException("file would become too large");
  handle->writableBytes -= count;
  handle->pending.append(static_cast<const char*>(buffer), count);
  if (handle->pending.size() >= kMaxPending) handle->writePending();
  handle_ = std::move(handle);
}

void CFile::MarkChangeable(std::size_t count) {
  if (handle_) handle_->changeable = {handle_->pending.size(), handle_->pending.size() + count};
}

void CFile::MarkUsed() {
  constexpr timespec kUsedNow[] = {{0, UTIME_NOW}, {0, UTIME_OMIT}};
  if (handle_) ::futimens(handle_->read.get(), kUsedNow);
}

std::int64_t CFile::GetModificationTime() const {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  struct stat state;
  if (!handle_ || ::fstat(handle_->read.get(), &state) != 0) throw CFileException("file has no time");
  return std::int64_t{state.st_mtim.tv_sec} * kNanoseconds + state.st_mtim.tv_nsec;
}

std::uint64_t CFile::GetLength() const {
  struct stat state;
  if (!handle_ || ::fstat(handle_->read.get(), &state) != 0) throw CFileException("file has no length");
  return static_cast<std::uint64_t>(state.st_size);
}

void CFile::Close() {
  const std::unique_ptr<Handle> handle = std::move(handle_);
  if (handle && handle->replaces() && !handle->changeInPlace()) handle->putInPlace();
}
