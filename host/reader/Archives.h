#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// The archive of a folder for many threads: each call has an object of its own, which is kept for later ones.
///
///     const ItemPage page = archives.use([&](NewsArchive& archive) { return archive.Items(query); });
class Archives {
 public:
  explicit Archives(std::string baseFolder) : baseFolder_(std::move(baseFolder)) {}

  /// What `use` returns. Throws ArchiveError, and what `use` throws.
  template <typename Use>
  auto use(const Use& use) {
    Lease lease(*this);
    return use(*lease.archive);
  }

 private:
  /// An archive that goes back at the end of the scope.
  struct Lease {
    explicit Lease(Archives& from) : owner(from), archive(from.take()) {}
    ~Lease() { owner.giveBack(std::move(archive)); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    Archives& owner;
    std::unique_ptr<NewsArchive> archive;
  };

  std::unique_ptr<NewsArchive> take();
  void giveBack(std::unique_ptr<NewsArchive> archive) noexcept;

  const std::string baseFolder_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<NewsArchive>> free_;
};

}  // namespace quillmoria
