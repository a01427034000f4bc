#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/IStream.h"
#include "platform/LibraryVersions.h"
#include "platform/Mutex.h"
#include "platform/pictures/PictureSource.h"

namespace {

using quillmoria::kMaxPictureSide;
using quillmoria::PictureSource;

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;
constexpr std::size_t kBytesPerPixel = 4;
constexpr std::size_t kReservePieces = 64;

/// All that the stream holds, or nothing if that is too much.
std::optional<std::string> readAll(IStream& stream) {
  std::string data;
  for (;;) {
    const std::size_t size = data.size();
    data.resize(size + kPieceBytes);
    data.resize(size + stream.Read(data.data() + size, kPieceBytes));
    if (data.size() > kMaxImageBytes) return std::nullopt;
    if (data.size() < size + kPieceBytes) return data;
  }
}

/// Throws std::bad_alloc unless there are 4 MiB for the decoder's records: where it gets no memory for those, it ends
/// the process. In pieces, since the allocator has large blocks from elsewhere. For pixels the decoder asks in good
/// manner.
void checkReserve() {
  std::array<std::unique_ptr<char[]>, kReservePieces> pieces;
  for (auto& piece : pieces) piece = std::make_unique_for_overwrite<char[]>(kPieceBytes);
}

constinit quillmoria::Mutex handlersMutex;  // GLib, if asked twice at once, may give two handlers one number

/// Keeps the decoder's complaints about bad images off standard error.
class QuietDecoder {
 public:
  QuietDecoder() {
    const quillmoria::MutexLock lock(handlersMutex);
    handler_ = g_log_set_handler(kDomain, kEveryLevel, ignore, nullptr);
  }
  QuietDecoder(const QuietDecoder&) = delete;
  QuietDecoder& operator=(const QuietDecoder&) = delete;
  ~QuietDecoder() {
    const quillmoria::MutexLock lock(handlersMutex);
    g_log_remove_handler(kDomain, handler_);
  }

 private:
  static constexpr char kDomain[] = "GdkPixbuf";
  static constexpr GLogLevelFlags kEveryLevel =
      static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION);

  static void ignore(const gchar*, GLogLevelFlags, const gchar*, gpointer) noexcept {}

  guint handler_ = 0;
};

struct Unreference {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using Loader = std::unique_ptr<GdkPixbufLoader, Unreference>;

/// A size of nothing makes the loader fail before it allocates pixels.
void refuseLargePicture(GdkPixbufLoader* loader, gint width, gint height, gpointer) noexcept {
  if (width > kMaxPictureSide || height > kMaxPictureSide) gdk_pixbuf_loader_set_size(loader, 0, 0);
}

/// The loader with the decoded picture in it, or null.
Loader decode(const PictureSource& source) {
  Loader loader(gdk_pixbuf_loader_new_with_type(source.format, nullptr));
  if (!loader) return nullptr;
  g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(refuseLargePicture), nullptr);
  const bool isTaken = gdk_pixbuf_loader_write(loader.get(), reinterpret_cast<const guchar*>(source.bytes.data()),
                                               source.bytes.size(), nullptr);
  const bool isComplete = gdk_pixbuf_loader_close(loader.get(), nullptr);
  return isTaken && isComplete ? std::move(loader) : nullptr;
}

std::shared_ptr<const IPicture> toPicture(const GdkPixbuf* pixbuf) {
  const int width = gdk_pixbuf_get_width(pixbuf);
  const int height = gdk_pixbuf_get_height(pixbuf);
  const auto channels = static_cast<std::size_t>(gdk_pixbuf_get_n_channels(pixbuf));
  if (gdk_pixbuf_get_bits_per_sample(pixbuf) != 8 || channels < 3 || width > kMaxPictureSide ||
      height > kMaxPictureSide) {
    return nullptr;
  }
  const auto stride = static_cast<std::size_t>(gdk_pixbuf_get_rowstride(pixbuf));
  const auto columns = static_cast<std::size_t>(width);
  const auto rows = static_cast<std::size_t>(height);
  const guint8* const source = gdk_pixbuf_read_pixels(pixbuf);
  std::vector<std::uint8_t> pixels(columns * rows * kBytesPerPixel, 0xFF);
  std::uint8_t* to = pixels.data();
  for (std::size_t y = 0; y < rows; ++y) {
    const guint8* from = source + y * stride;
    for (std::size_t x = 0; x < columns; ++x, from += channels, to += kBytesPerPixel) {
      std::copy_n(from, std::min(channels, kBytesPerPixel), to);
    }
  }
  return std::make_shared<const IPicture>(width, height, std::move(pixels));
}

}  // namespace

std::shared_ptr<const IPicture> OleLoadPicture(IStream* stream) {
  const std::optional<std::string> data = readAll(*stream);
  const std::optional<PictureSource> source = data ? quillmoria::checkPicture(*data) : std::nullopt;
  if (!source) return nullptr;
  checkReserve();
  const QuietDecoder quiet;
  const Loader loader = decode(*source);
  GdkPixbufAnimation* const animation = loader ? gdk_pixbuf_loader_get_animation(loader.get()) : nullptr;
  const GdkPixbuf* const first = animation ? gdk_pixbuf_animation_get_static_image(animation) : nullptr;
  return first ? toPicture(first) : nullptr;
}

std::string quillmoria::pictureLibraryVersion() { return std::string("gdk-pixbuf ") + gdk_pixbuf_version; }
