#include "platform/CArchive.h"

#include <algorithm>
#include <cstring>

#include "platform/CFile.h"

namespace {

// Where a length outgrows its field, the field holds the mark and the next wider one follows.
constexpr std::uint32_t kMark8 = 0xFF;
constexpr std::uint32_t kMark16 = 0xFFFF;
constexpr std::uint32_t kNoLength16 = 0xFFFE;  ///< what would announce wide text
constexpr std::size_t kMaxLength = 0xFFFFFFFF;

}  // namespace

CArchive::CArchive(CFile* file, Mode mode, std::size_t bufferSize)
    : file_(file), mode_(mode), capacity_(bufferSize), unread_(mode == load ? file->GetLength() : 0) {}

CArchive::~CArchive() = default;

CArchive& CArchive::operator<<(std::string_view text) {
  if (text.size() > kMaxLength) throw CArchiveException("text is too long");
  const auto length = static_cast<std::uint32_t>(text.size());
  if (length < kMark8) {
    storeInteger(length, 1);
  } else if (length < kNoLength16) {
    storeInteger(kMark8, 1);
    storeInteger(length, 2);
  } else {
    storeInteger(kMark8, 1);
    storeInteger(kMark16, 2);
    storeInteger(length, 4);
  }
  storeBytes(text.data(), text.size());
  return *this;
}

CArchive& CArchive::operator<<(std::int32_t value) {
  storeInteger(static_cast<std::uint32_t>(value), 4);
  return *this;
}

CArchive& CArchive::operator<<(CTime time) { return *this << time.GetTime(); }

CArchive& CArchive::operator>>(std::string& text) {
  const std::uint32_t length = loadLength();
  if (length > remaining()) throw CArchiveException("text goes beyond the file");
  if (length <= buffer_.size() - begin_) {
    text.assign(buffer_.data() + begin_, length);
    begin_ += length;
    return *this;
  }
  text.resize(length);
  if (Read(text.data(), length) < length) throw CArchiveException("file ends in a text");
  return *this;
}

CArchive& CArchive::operator>>(std::int32_t& value) {
  value = static_cast<std::int32_t>(loadInteger(4));
  return *this;
}

CArchive& CArchive::operator>>(CTime& time) {
  time = CTime(static_cast<std::int32_t>(loadInteger(4)));
  return *this;
}

std::size_t CArchive::Read(void* buffer, std::size_t count) {
  char* const bytes = static_cast<char*>(buffer);
  std::size_t done = 0;
  while (done < count) {
    if (begin_ == buffer_.size()) {
      if (count - done >= capacity_) return done + readFile(bytes + done, count - done);
      buffer_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(capacity_, unread_)));
      begin_ = 0;
      buffer_.resize(readFile(buffer_.data(), buffer_.size()));
      if (buffer_.empty()) break;
    }
    const std::size_t piece = std::min(count - done, buffer_.size() - begin_);
    std::memcpy(bytes + done, buffer_.data() + begin_, piece);
    begin_ += piece;
    done += piece;
  }
  return done;
}

std::uint64_t CArchive::remaining() const { return buffer_.size() - begin_ + unread_; }

void CArchive::Flush() {
  if (!buffer_.empty()) file_->Write(buffer_.data(), buffer_.size());
  buffer_.clear();
}

void CArchive::Close() {
  if (mode_ == store) Flush();
}

void CArchive::storeInteger(std::uint32_t value, std::size_t width) {
  char bytes[4];
  for (std::size_t i = 0; i < width; ++i) bytes[i] = static_cast<char>(value >> (8 * i) & 0xFF);
  storeBytes(bytes, width);
}

/// What is larger than the buffer goes past it.
void CArchive::storeBytes(const char* bytes, std::size_t count) {
  if (count > capacity_ - buffer_.size()) Flush();
  if (count > capacity_) {
    file_->Write(bytes, count);
  } else {
    buffer_.insert(buffer_.end(), bytes, bytes + count);
  }
}

std::uint32_t CArchive::loadInteger(std::size_t width) {
  unsigned char bytes[4];
  if (Read(bytes, width) < width) throw CArchiveException("file ends in a number");
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value |= std::uint32_t{bytes[i]} << (8 * i);
  return value;
}

std::uint32_t CArchive::loadLength() {
  const std::uint32_t narrow = loadInteger(1);
  if (narrow != kMark8) return narrow;
  const std::uint32_t middle = loadInteger(2);
  if (middle == kNoLength16) throw CArchiveException("not a length");
  return middle == kMark16 ? loadInteger(4) : middle;
}

/// Of a file that has become shorter nothing remains, of one that has grown nothing more.
std::size_t CArchive::readFile(char* bytes, std::size_t count) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(count, unread_));
  const std::size_t done = file_->Read(bytes, wanted);
  unread_ = done < wanted ? 0 : unread_ - done;
  return done;
}
