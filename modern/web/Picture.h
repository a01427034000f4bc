#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "modern/web/FeedFacts.h"
#include "quillmoria/CPicture.h"

namespace quillmoria {

/// What is remembered of a picture that was asked for.
struct PictureFacts {
  Validators validators;
  std::int64_t failedAt = 0;  ///< in seconds since 1970; 0: it has not failed
};

/// Where that is kept, by the pictures' file names. Any thread.
class PictureMemory {
 public:
  virtual PictureFacts picture(const std::string& file) = 0;
  virtual void keepPicture(const std::string& file, const PictureFacts& facts) = 0;

 protected:
  ~PictureMemory() = default;
};

/// Where a feed's picture may come from.
struct PictureOrder {
  std::string url;
  std::string baseFolder;           ///< its image folder keeps the picture
  bool mayAsk = false;              ///< else from there alone
  std::int64_t pull = 0;            ///< WebState::beginPull
  PictureMemory* memory = nullptr;  ///< null: nothing is remembered
};

/// The picture at `order.url`, or one that holds none. Its file is named by a hash of the address; once it is a week
/// old the server is asked whether there is another. One that cannot be had or read is not kept, and asked for again a
/// day later. Any thread. Throws std::bad_alloc.
std::unique_ptr<CPicture> loadPicture(const PictureOrder& order);

}  // namespace quillmoria
