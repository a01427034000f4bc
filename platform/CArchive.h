#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "quillmoria/CTime.h"

class CFile;

/// A stored value is cut off or is not one.
class CArchiveException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Buffered values over an open file, either for storing or for loading.
///
///     CArchive archive(&file, CArchive::store, 4096);
///     archive << "signature" << std::int32_t{4};
///     archive.Close();
///
/// Integers and times are 4 bytes, little-endian. A text is its length and its bytes: one byte of length below 255,
/// else 0xFF and two bytes below 0xFFFE, else 0xFF, 0xFFFF and four bytes. The file must outlive the archive and is
/// neither opened nor closed by it. Errors of the file pass through as CFileException. One thread at a time.
class CArchive {
 public:
  enum Mode { store, load };

  CArchive(CFile* file, Mode mode, std::size_t bufferSize);
  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;

  /// Does not write what is still buffered: only Close says that an archive is complete.
  ~CArchive();

  CArchive& operator<<(std::string_view text);
  CArchive& operator<<(std::int32_t value);
  CArchive& operator<<(CTime time);

  /// Each throws CArchiveException if the file ends before the value does; nothing is allocated for a length that goes
  /// beyond the file.
  CArchive& operator>>(std::string& text);
  CArchive& operator>>(std::int32_t& value);
  CArchive& operator>>(CTime& time);

  /// Loads up to `count` bytes; fewer only at the end.
  std::size_t Read(void* buffer, std::size_t count);

  /// Bytes that are still to be loaded.
  std::uint64_t remaining() const;

  /// Writes what is buffered, so that the file has all that was stored.
  void Flush();

  /// As Flush. Nothing may be stored or loaded afterwards.
  void Close();

 private:
  void storeInteger(std::uint32_t value, std::size_t width);
  void storeBytes(const char* bytes, std::size_t count);

  std::uint32_t loadInteger(std::size_t width);
  std::uint32_t loadLength();
  std::size_t readFile(char* bytes, std::size_t count);

  CFile* file_;
  Mode mode_;
  std::size_t capacity_;      ///< most bytes to buffer
  std::vector<char> buffer_;  ///< not yet written, or loaded ahead
  std::size_t begin_ = 0;     ///< of what is loaded ahead and not yet taken
  std::uint64_t unread_;      ///< bytes of the file that have not been buffered yet
};
