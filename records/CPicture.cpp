#include "quillmoria/CPicture.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

namespace {

constexpr std::size_t kBytesPerPixel = 4;

}  // namespace

IPicture::IPicture(std::int32_t width, std::int32_t height, std::vector<std::uint8_t> pixels)
    : width_(width), height_(height), pixels_(std::move(pixels)) {
  if (width < 1 || height < 1 ||
      pixels_.size() / kBytesPerPixel / static_cast<std::size_t>(width) != static_cast<std::size_t>(height) ||
      pixels_.size() % (kBytesPerPixel * static_cast<std::size_t>(width)) != 0) {
    throw std::invalid_argument("pixels do not fit the picture's sides");
  }
}

IPicture::~IPicture() = default;

std::span<const std::uint8_t> IPicture::row(std::int32_t y) const {
  const std::size_t bytes = static_cast<std::size_t>(width_) * kBytesPerPixel;
  return std::span(pixels_).subspan(static_cast<std::size_t>(y) * bytes, bytes);
}

CPicture::CPicture() = default;

CPicture::~CPicture() = default;

CPicture::CPicture(const CPicture&) = default;

CPicture& CPicture::operator=(const CPicture&) = default;

void CPicture::Free() { picture.reset(); }
