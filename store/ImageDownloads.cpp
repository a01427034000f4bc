#include "store/ImageDownloads.h"

namespace quillmoria {

constinit ModuleObject<ImageDownloads> imageDownloads;

ImageDownloads::Claim::Claim(const std::string& path) {
  std::unique_lock lock(imageDownloads->mutex_);
  imageDownloads->released_.wait(lock, [&path] { return !imageDownloads->paths_.contains(path); });
  path_ = imageDownloads->paths_.insert(path).first;
}

ImageDownloads::Claim::~Claim() {
  {
    std::lock_guard lock(imageDownloads->mutex_);
    imageDownloads->paths_.erase(path_);
  }
  imageDownloads->released_.notify_all();
}

}  // namespace quillmoria
