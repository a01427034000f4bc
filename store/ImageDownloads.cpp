#include "store/ImageDownloads.h"

namespace quillmoria {
namespace {

constexpr FolderUse kMaxUse{16'384, std::uint64_t{256} << 20};
constexpr FolderUse kTrimmedUse{kMaxUse.files / 4 * 3, kMaxUse.bytes / 4 * 3};

}  // namespace

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

void ImageDownloads::count(const std::string& path, std::uint64_t bytes) {
  const MutexLock lock(imageDownloads->usesMutex_);
  auto& uses = imageDownloads->uses_;
  if (const auto known = uses.find(path); known != uses.end()) {
    FolderUse& use = known->second;
    use.files += 1;
    use.bytes += bytes;
    if (use.isWithin(kMaxUse)) return;
    uses.erase(known);
  }
  if (const std::optional<FolderUse> use = trimFolder(path, kMaxUse, kTrimmedUse)) uses.emplace(path, *use);
}

void ImageDownloads::close() {
  const MutexLock lock(usesMutex_);
  uses_.clear();
}

}  // namespace quillmoria
