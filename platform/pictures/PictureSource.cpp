#include "platform/pictures/PictureSource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/IStream.h"

namespace quillmoria {
namespace {

unsigned byteAt(std::string_view bytes, std::size_t at) { return static_cast<unsigned char>(bytes[at]); }

std::uint32_t littleEndian(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = width; i-- > 0;) value = value << 8 | byteAt(bytes, at + i);
  return value;
}

std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | byteAt(bytes, at + i);
  return value;
}

/// After the chain of counted blocks at `at`; beyond the end if it is cut off.
std::size_t skipBlocks(std::string_view gif, std::size_t at) {
  while (at < gif.size()) {
    const unsigned count = byteAt(gif, at);
    at += 1 + count;
    if (count == 0) return at;
  }
  return gif.size() + 1;
}

std::size_t colorTableBytes(unsigned flags) { return flags & 0x80 ? std::size_t{3} << ((flags & 7) + 1) : 0; }

bool isAllowed(std::uint32_t width, std::uint32_t height) {
  return width <= kMaxPictureSide && height <= kMaxPictureSide;
}

/// The image up to its first frame, since the decoder would unpack every frame of an animation.
std::optional<PictureSource> firstFrameOfGif(std::string_view gif) {
  constexpr std::size_t kHeaderBytes = 13;
  constexpr std::size_t kFrameHeaderBytes = 10;
  constexpr unsigned kExtension = 0x21;
  constexpr unsigned kFrame = 0x2C;
  constexpr char kEnd = 0x3B;
  if (gif.size() < kHeaderBytes) return std::nullopt;
  std::size_t at = kHeaderBytes + colorTableBytes(byteAt(gif, 10));
  while (at < gif.size() && byteAt(gif, at) == kExtension) at = skipBlocks(gif, at + 2);
  if (at + kFrameHeaderBytes >= gif.size() || byteAt(gif, at) != kFrame) return std::nullopt;
  if (!isAllowed(littleEndian(gif, at + 5, 2), littleEndian(gif, at + 7, 2))) return std::nullopt;
  constexpr std::size_t kCodeSizeByte = 1;
  at = skipBlocks(gif, at + kFrameHeaderBytes + colorTableBytes(byteAt(gif, at + 9)) + kCodeSizeByte);
  if (at > gif.size()) return std::nullopt;
  return PictureSource{"gif", std::string(gif.substr(0, at)) + kEnd};
}

/// The chunks that make the picture, since each of the others may unpack to a thousand times its size.
std::optional<PictureSource> essentialsOfPng(std::string_view png) {
  constexpr std::string_view kEssential[] = {"IHDR", "PLTE", "tRNS", "IDAT", "IEND"};
  constexpr std::size_t kSignatureBytes = 8;
  constexpr std::size_t kFrameBytes = 12;  // length, type and check sum of a chunk
  PictureSource source{"png", std::string(png.substr(0, kSignatureBytes))};
  for (std::size_t at = kSignatureBytes; png.size() - at >= kFrameBytes;) {
    const std::uint32_t length = bigEndian(png, at, 4);
    if (length > png.size() - at - kFrameBytes) return std::nullopt;
    const std::string_view chunk = png.substr(at, kFrameBytes + length);
    const std::string_view type = chunk.substr(4, 4);
    if (std::ranges::find(kEssential, type) != std::end(kEssential)) source.bytes += chunk;
    if (type == "IEND") return source;
    at += chunk.size();
  }
  return std::nullopt;
}

/// The image, if it is whole. Its scans are counted because each goes over all pixels, however short it is.
std::optional<PictureSource> boundedJpeg(std::string_view jpeg) {
  constexpr int kMaxScans = 32;
  constexpr unsigned kFirstMarker = 0xC0;
  constexpr unsigned kEnd = 0xD9;
  constexpr unsigned kScan = 0xDA;
  const auto standsAlone = [](unsigned marker) { return marker >= 0xD0 && marker <= 0xD8; };
  int scans = 0;
  for (std::size_t at = 0; (at = jpeg.find('\xFF', at)) != std::string_view::npos && at + 1 < jpeg.size();) {
    const unsigned marker = byteAt(jpeg, ++at);
    if (marker == kEnd) return PictureSource{"jpeg", std::string(jpeg.substr(0, at + 1))};
    if (marker < kFirstMarker || marker == 0xFF || standsAlone(marker)) continue;
    if (marker == kScan && ++scans > kMaxScans) return std::nullopt;
    if (at + 3 > jpeg.size()) return std::nullopt;
    at += 1 + bigEndian(jpeg, at + 1, 2);
  }
  return std::nullopt;
}

/// Whether a bitmap, from its information header on, has that header and as many colours as it says. The decoder makes
/// room for both before it has read them.
bool holdsItsColors(std::string_view bitmap) {
  constexpr std::size_t kColorCountAt = 32;  // in all headers that reach so far
  constexpr std::size_t kColorBytes = 4;
  if (bitmap.size() < 4) return false;
  const std::size_t headerBytes = littleEndian(bitmap, 0, 4);
  if (headerBytes > bitmap.size()) return false;
  const std::size_t colors = headerBytes < kColorCountAt + 4 ? 0 : littleEndian(bitmap, kColorCountAt, 4);
  return colors <= (bitmap.size() - headerBytes) / kColorBytes;
}

/// The image, unless it is shorter than it says.
std::optional<PictureSource> wholeBmp(std::string_view bmp) {
  constexpr std::size_t kHeaderBytes = 14;
  if (bmp.size() < kHeaderBytes || std::max(littleEndian(bmp, 2, 4), littleEndian(bmp, 10, 4)) > bmp.size() ||
      !holdsItsColors(bmp.substr(kHeaderBytes))) {
    return std::nullopt;
  }
  return PictureSource{"bmp", std::string(bmp)};
}

constexpr std::string_view kPngSignature{"\x89PNG\r\n\x1a\n"};

/// The largest of the icons, of equals the one with the most colours, as an image of its own.
std::optional<PictureSource> largestOfIco(std::string_view ico) {
  constexpr std::size_t kHeaderBytes = 6;
  constexpr std::size_t kEntryBytes = 16;
  constexpr std::size_t kBitmapHeaderBytes = 40;
  if (ico.size() < kHeaderBytes) return std::nullopt;
  std::string_view best;
  std::pair<std::uint32_t, std::uint32_t> bestRank;
  const std::size_t end = std::min(ico.size(), kHeaderBytes + kEntryBytes * littleEndian(ico, 4, 2));
  for (std::size_t at = kHeaderBytes; at + kEntryBytes <= end; at += kEntryBytes) {
    const auto side = [&](std::size_t offset) {
      return (byteAt(ico, at + offset) + 255) % 256 + 1;
    };  // 0 stands for 256
    const std::pair<std::uint32_t, std::uint32_t> rank(side(0) * side(1), littleEndian(ico, at + 6, 2));
    if (best.empty() || rank > bestRank) best = ico.substr(at, kEntryBytes), bestRank = rank;
  }
  if (best.empty()) return std::nullopt;
  const std::size_t size = littleEndian(best, 8, 4);
  const std::size_t offset = littleEndian(best, 12, 4);
  if (offset > ico.size() || size > ico.size() - offset) return std::nullopt;
  const std::string_view image = ico.substr(offset, size);
  if (image.starts_with(kPngSignature)) return essentialsOfPng(image);
  if (size < kBitmapHeaderBytes || littleEndian(image, 0, 4) != kBitmapHeaderBytes || !holdsItsColors(image)) {
    return std::nullopt;
  }
  // The height counts the rows of the picture and of its mask.
  if (!isAllowed(littleEndian(image, 4, 4), littleEndian(image, 8, 4) / 2)) return std::nullopt;
  PictureSource source{"ico", std::string("\0\0\1\0\1\0", kHeaderBytes)};
  source.bytes.append(best.substr(0, 12)).append("\x16\0\0\0", 4).append(image);
  return source;
}

struct Format {
  std::string_view signature;
  std::optional<PictureSource> (*check)(std::string_view);
};

using namespace std::string_view_literals;

constexpr Format kFormats[] = {
    {"GIF87a"sv, firstFrameOfGif},
    {"GIF89a"sv, firstFrameOfGif},
    {kPngSignature, essentialsOfPng},
    {"\xFF\xD8\xFF"sv, boundedJpeg},
    {"BM"sv, wholeBmp},
    {"\0\0\1\0"sv, largestOfIco},
};

}  // namespace

std::optional<PictureSource> checkPicture(std::string_view data) {
  if (data.size() > kMaxImageBytes) return std::nullopt;
  for (const Format& format : kFormats) {
    if (data.starts_with(format.signature)) return format.check(data);
  }
  return std::nullopt;
}

}  // namespace quillmoria
