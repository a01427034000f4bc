#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

inline constexpr int kMaxPictureSide = 4096;  ///< in pixels

/// An image that a decoder may be given: of a known format, of no more than it says, and with nothing in it that could
/// unpack to more than the picture.
struct PictureSource {
  const char* format;  ///< "gif", "png", "jpeg", "bmp" or "ico"
  std::string bytes;   ///< a whole file of that format
};

/// The image that the file `data` holds, told by its first bytes: of an animation the first frame, of icons the
/// largest. Nothing for anything else, for an image that is cut off or too large, and for one that lies about what a
/// decoder makes room for. A decoder still has to look at the sides of what it decodes.
std::optional<PictureSource> checkPicture(std::string_view data);

}  // namespace quillmoria
