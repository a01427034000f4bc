#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "quillmoria/CPicture.h"

namespace quillmoria {

/// Where a feed's picture may come from.
struct PictureOrder {
  std::string url;
  std::string baseFolder;  ///< its image folder keeps the picture
  bool mayAsk = false;     ///< else from there alone
  std::uint64_t pull = 0;  ///< WebState::beginPull
};

/// The picture at `order.url`, or one that holds none. Its file is named by a hash of the address; once it is a week
/// old the server is asked whether there is another. One that cannot be had or read is not kept, and asked for again a
/// day later. Any thread. Throws std::bad_alloc.
std::unique_ptr<CPicture> loadPicture(const PictureOrder& order);

}  // namespace quillmoria
