#include "reader/Pictures.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <utility>

#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::int32_t kSide = 32;  // pixels
constexpr std::uint32_t kHeaderBytes = 14 + 108;
constexpr std::uint32_t kPixelBytes = kSide * kSide * 4;

using Pixel = std::array<std::uint32_t, 4>;  ///< red, green, blue, alpha

void append16(std::string& file, std::uint32_t value) {
  file += {static_cast<char>(value), static_cast<char>(value >> 8)};
}

void append32(std::string& file, std::uint32_t value) {
  append16(file, value);
  append16(file, value >> 16);
}

/// Headers of the form with a mask for each colour and alpha, from the top row on.
std::string headers() {
  constexpr std::uint32_t kInfoBytes = 108, kPlanes = 1, kBits = 32, kByMasks = 3, kStandardColours = 0x73524742;
  std::string file = "BM";
  for (const std::uint32_t value : {kHeaderBytes + kPixelBytes, 0U, kHeaderBytes, kInfoBytes}) append32(file, value);
  append32(file, kSide);
  append32(file, static_cast<std::uint32_t>(-kSide));
  append16(file, kPlanes);
  append16(file, kBits);
  for (const std::uint32_t value : {kByMasks, kPixelBytes, 0U, 0U, 0U, 0U}) append32(file, value);
  for (const std::uint32_t mask : {0xFFU, 0xFF00U, 0xFF0000U, 0xFF000000U}) append32(file, mask);
  append32(file, kStandardColours);
  file.resize(kHeaderBytes);
  return file;
}

struct Range {
  std::int32_t first;
  std::int32_t end;
};

/// Those of `size` that fall on number `i` of `count`, one at least.
Range share(std::int32_t i, std::int32_t count, std::int32_t size) {
  const auto first = static_cast<std::int32_t>(std::int64_t{i} * size / count);
  const auto end = static_cast<std::int32_t>(std::int64_t{i + 1} * size / count);
  return {first, std::max(end, first + 1)};
}

/// The mean of a rectangle; transparent pixels have no colour.
Pixel mean(const IPicture& picture, const Range& rows, const Range& columns) {
  std::array<std::uint64_t, 4> sums{};
  for (std::int32_t y = rows.first; y < rows.end; ++y) {
    const std::span<const std::uint8_t> row = picture.row(y);
    for (std::int32_t x = columns.first; x < columns.end; ++x) {
      const auto pixel = row.subspan(static_cast<std::size_t>(x) * 4, 4);
      for (std::size_t colour = 0; colour < 3; ++colour) sums[colour] += std::uint64_t{pixel[colour]} * pixel[3];
      sums[3] += pixel[3];
    }
  }
  const auto count =
      static_cast<std::uint64_t>(rows.end - rows.first) * static_cast<std::uint64_t>(columns.end - columns.first);
  Pixel result{};
  for (std::size_t colour = 0; colour < 3 && sums[3] > 0; ++colour) {
    result[colour] = static_cast<std::uint32_t>(sums[colour] / sums[3]);
  }
  result[3] = static_cast<std::uint32_t>(sums[3] / count);
  return result;
}

/// `picture` at its own proportions in the middle of a square, larger ones made smaller.
std::string drawnAnew(const IPicture& picture) {
  const std::int32_t longer = std::max({picture.width(), picture.height(), kSide});
  const auto scaled = [longer](std::int32_t size) { return std::max(size * kSide / longer, 1); };
  const std::int32_t width = scaled(picture.width()), height = scaled(picture.height());
  const std::int32_t left = (kSide - width) / 2, top = (kSide - height) / 2;
  std::string file = headers();
  file.reserve(kHeaderBytes + kPixelBytes);
  for (std::int32_t y = 0; y < kSide; ++y) {
    for (std::int32_t x = 0; x < kSide; ++x) {
      const bool isInside = x >= left && x < left + width && y >= top && y < top + height;
      const Pixel pixel =
          isInside ? mean(picture, share(y - top, height, picture.height()), share(x - left, width, picture.width()))
                   : Pixel{};
      for (const std::uint32_t value : pixel) file += static_cast<char>(value);
    }
  }
  return file;
}

}  // namespace

void Pictures::keep(const std::string& url, const IPicture& picture) {
  std::string file = drawnAnew(picture);
  const std::lock_guard lock(mutex_);
  files_.insert_or_assign(addressKey(url), std::move(file));
}

bool Pictures::has(const std::string& url) const {
  const std::lock_guard lock(mutex_);
  return files_.contains(addressKey(url));
}

std::optional<std::string> Pictures::file(const std::string& url) const {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(addressKey(url));
  return found == files_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace quillmoria
