#include "store/ImageDownloads.h"

namespace quillmoria {

constinit ModuleObject<ImageDownloads> imageDownloads;

ImageDownloads::Claim::Claim(const std::string& path) {
  const MutexLock lock(imageDownloads->mutex_);
  while (imageDownloads->paths_.contains(path)) imageDownloads->released_.wait(imageDownloads->mutex_);
  path_ = imageDownloads->paths_.insert(path).first;
}

ImageDownloads::Claim::~Claim() {
  {
    const MutexLock lock(imageDownloads->mutex_);
    imageDownloads->paths_.erase(path_);
  }
  imageDownloads->released_.notifyAll();
}

}  // namespace quillmoria
