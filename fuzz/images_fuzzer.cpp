#include <memory>
#include <utility>

#include "Fuzzing.h"
#include "platform/IStream.h"

namespace {

class InputStream : public IStream {
 public:
  explicit InputStream(std::string bytes) : bytes_(std::move(bytes)) {}
  std::size_t Read(void* buffer, std::size_t count) override {
    const std::size_t taken = bytes_.copy(static_cast<char*>(buffer), count, at_);
    at_ += taken;
    return taken;
  }

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

}  // namespace

/// An image file; the picture's rows are all there.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::int32_t kMaxSide = 4096;
  InputStream stream(textOf(data, size));
  const std::shared_ptr<const IPicture> picture = OleLoadPicture(&stream);
  if (!picture) return 0;
  require(picture->width() <= kMaxSide && picture->height() <= kMaxSide);
  for (std::int32_t y = 0; y < picture->height(); ++y) {
    require(picture->row(y).size() == static_cast<std::size_t>(picture->width()) * 4);
  }
  return 0;
}
