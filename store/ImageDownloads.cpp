#include "store/ImageDownloads.h"

#include <utility>

namespace quillmoria {

constinit ModuleObject<ImageDownloads> imageDownloads;

ImageDownloads::Claim::Claim(std::string path) : path_(std::move(path)) {
  if (!imageDownloads) return;
  std::unique_lock lock(imageDownloads->mutex_);
  imageDownloads->released_.wait(lock, [this] { return !imageDownloads->paths_.contains(path_); });
  imageDownloads->paths_.insert(path_);
}

ImageDownloads::Claim::~Claim() {
  if (!imageDownloads) return;
  {
    std::lock_guard lock(imageDownloads->mutex_);
    imageDownloads->paths_.erase(path_);
  }
  imageDownloads->released_.notify_all();
}

}  // namespace quillmoria
