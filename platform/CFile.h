#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

/// A file could not be read or written.
class CFileException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file would have become larger than it may.
class CFileLimitException : public CFileException {
 public:
  using CFileException::CFileException;
};

/// One of the engine's own files: a regular file in `config`, `cache` or `feed_imgs` under the base folder.
///
///     CFile file;
///     if (!file.Open(baseFolder + "\\cache\\" + name, CFile::modeReplace)) return 0;
///     file.Write(bytes.data(), bytes.size());
///     file.Close();
///
/// Paths are the base folder, a backslash, one of the three folders, a backslash, and a name that may hold slashes for
/// subfolders. The base folder is the host's and is taken as it is. The name is anybody's: one that is empty or
/// absolute, that holds "..", a backslash or NUL, that makes the path longer than the system's are, that leads over a
/// link below the three folders, or that a file has while it is written (docs/cache-format.md), cannot be opened or
/// created. One thread at a time.
///
/// A file that is replaced is whole at any moment, however the process ends; nothing is forced out to the disk. Under a
/// limit on file sizes the exception comes only to a process that ignores SIGXFSZ.
class CFile {
 public:
  enum OpenFlags : unsigned {
    modeRead,     ///< an existing file, for reading
    modeReplace,  ///< a new file, or another in the place of an existing one, for writing, shared with nobody. What is
                  ///< written is put in place at Close, whole, and never if the CFile is destroyed before. An existing
                  ///< file below 256 KiB that would change in the bytes of MarkChangeable alone, or not at all, stays;
                  ///< these are then written into it at once, and it gets the time of the Close.
  };

  CFile();
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;

  /// Closes the file and drops what was written.
  ~CFile();

  /// True once the file is open; at most `maxBytes` can be written. False where there is none, where it may not be
  /// opened so, or where it is none of the engine's own (above). Throws std::system_error where descriptors or memory
  /// lack: then nothing is known of the file.
  bool Open(const std::string& path, OpenFlags flags, std::uint64_t maxBytes = UINT64_MAX);

  /// Removes the file at `path`, if it is one that could be opened. Nothing if there is none.
  static void Remove(const std::string& path);

  /// Reads up to `count` bytes; fewer only at the file's end, 0 after it. Throws CFileException.
  std::size_t Read(void* buffer, std::size_t count);

  /// Writes all `count` bytes, as late as at Close. Throws CFileException, CFileLimitException for bytes above those
  /// that can be written, and what Open throws; the file is then closed as by the destructor.
  void Write(const void* buffer, std::size_t count);

  /// Says of the next `count` bytes to be written, and of no others, that they may be changed in a file that stays: a
  /// reader may meet the former or the latter, or some of each.
  void MarkChangeable(std::size_t count);

  /// Makes the time of the file's last use, where the system lets it, the present one. Under modeRead.
  void MarkUsed();

  /// When the file was last written, in nanoseconds since 1970-01-01 00:00 UTC. Throws CFileException.
  std::int64_t GetModificationTime() const;

  /// Bytes in the file. Throws CFileException.
  std::uint64_t GetLength() const;

  /// Puts what was written in place and closes the file. Does nothing to a closed file. Throws CFileException if it
  /// cannot be written or put in place, and what Open throws.
  void Close();

 private:
  struct Handle;

  std::unique_ptr<Handle> handle_;
};
