#pragma once

#include <cstddef>
#include <memory>

#include "platform/CArchive.h"
#include "quillmoria/CPicture.h"

/// A source of bytes.
class IStream {
 public:
  virtual ~IStream();

  /// Reads up to `count` bytes; fewer only at the end, 0 after it. May throw what its source throws.
  virtual std::size_t Read(void* buffer, std::size_t count) = 0;
};

/// The rest of a loading archive as a stream. The archive must outlive it.
class CArchiveStream : public IStream {
 public:
  explicit CArchiveStream(CArchive* archive);
  std::size_t Read(void* buffer, std::size_t count) override;

 private:
  CArchive* archive_;
};

/// The bytes of the largest image file that is decoded.
inline constexpr std::size_t kMaxImageBytes = std::size_t{4} << 20;

/// Decodes the image that the whole of `stream` holds: GIF, JPEG, PNG, BMP or ICO, told by its first bytes; of an
/// animation the first frame. Null for anything else, for damaged images, for more than kMaxImageBytes, and for
/// pictures above 4096 x 4096 pixels, which are refused before they are decoded. May throw what the stream throws. Any
/// thread.
std::shared_ptr<const IPicture> OleLoadPicture(IStream* stream);
