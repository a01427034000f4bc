#include "reader/Archives.h"

namespace quillmoria {

std::unique_ptr<NewsArchive> Archives::take() {
  {
    const std::lock_guard lock(mutex_);
    if (!free_.empty()) {
      std::unique_ptr<NewsArchive> archive = std::move(free_.back());
      free_.pop_back();
      return archive;
    }
  }
  return std::make_unique<NewsArchive>(baseFolder_);
}

void Archives::giveBack(std::unique_ptr<NewsArchive> archive) noexcept {
  try {
    const std::lock_guard lock(mutex_);
    free_.push_back(std::move(archive));
  } catch (const std::exception&) {
    // Without memory for the list it is closed.
  }
}

}  // namespace quillmoria
