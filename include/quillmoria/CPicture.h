#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "quillmoria/export.h"

class CFile;
class CArchive;
class IStream;

/// A decoded picture: 8-bit red, green, blue and alpha (not premultiplied), row by row from the top.
///
///     for (std::int32_t y = 0; y < picture->height(); ++y) drawRow(y, picture->row(y));
///
/// Immutable, so any number of threads and feed objects may share one.
class QUILLMORIA_EXPORT IPicture {
 public:
  /// Takes `width` times `height` pixels of four bytes each.
  /// Throws std::invalid_argument if a side is below 1 or `pixels` has another size.
  IPicture(std::int32_t width, std::int32_t height, std::vector<std::uint8_t> pixels);
  ~IPicture();
  IPicture(const IPicture&) = delete;
  IPicture& operator=(const IPicture&) = delete;

  /// Pixels in a row, at least 1.
  std::int32_t width() const { return width_; }
  /// Rows, at least 1.
  std::int32_t height() const { return height_; }
  /// Row `y`, counted from 0 at the top: four bytes per pixel. Valid as long as the picture. `y` must be below
  /// height().
  std::span<const std::uint8_t> row(std::int32_t y) const;

 private:
  std::int32_t width_;
  std::int32_t height_;
  std::vector<std::uint8_t> pixels_;
};

/// The image of a feed's channel, found in the image folder or downloaded into it once.
///
///     CPicture logo;
///     if (logo.LoadFromURL("http://example.org/img/logo.gif", baseFolder) && logo.picture) draw(*logo.picture);
///
/// The file is the base folder's `feed_imgs` (which must exist) and the last segment of the address; one that is there
/// already is never downloaded again, so two addresses with the same last segment share it. GIF, JPEG, PNG, BMP and ICO
/// are read, of an animation the first frame; files above 4 MiB, of which an empty one is kept, and pictures above 4096
/// x 4096 pixels are not. Beyond 256 MiB or 16,384 files the folder loses those that were used longest ago.
/// One thread at a time.
class QUILLMORIA_EXPORT CPicture {
 public:
  /// Holds no picture.
  CPicture();
  ~CPicture();
  /// A copy shares the picture.
  CPicture(const CPicture&);
  CPicture& operator=(const CPicture&);  ///< Shares the other's picture.

  /// Lets go of the picture, if there is one.
  void Free();

  /// Loads the image at the http or https address `url` from the image folder of `baseFolder`, downloading it first if
  /// it is not there and the machine is online. Blocks meanwhile. True once a file has been read, even if it held no
  /// image (`picture` is null then); false for an empty address, offline, or when the file could not be made, and then
  /// an earlier picture stays.
  bool LoadFromURL(std::string url, std::string baseFolder);

  // The engine's own steps of a load, not for hosts.

  /// Replaces the picture by the one that the open `file` holds, or by none if it holds none. True.
  bool LoadFromFile(CFile& file);
  /// As LoadFromFile, with the rest of a loading `archive`.
  bool LoadFromArchive(CArchive& archive);
  /// As LoadFromFile, with the rest of `stream`.
  bool LoadFromStream(IStream* stream);

  /// The loaded picture, or null. A copy of the pointer keeps the picture alive on its own.
  std::shared_ptr<const IPicture> picture;
};
