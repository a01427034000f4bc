#include "BaseFolder.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Failure.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSubfolders[] = {"cache", "config", "feed_imgs"};

[[noreturn]] void failToMake(const fs::path& folder, const std::string& why) {
  throw Failure(kWrongUse, "the folder " + folder.string() + " cannot be made (" + why +
                               "): choose another base folder with --base DIR");
}

fs::path defaultBaseFolder() {
  // A relative path is to be taken as not set.
  if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data == '/') return fs::path(data) / "quillmoria";
  if (const char* home = std::getenv("HOME"); home && *home) return fs::path(home) / ".local/share/quillmoria";
  throw Failure(kWrongUse, "there is no home folder to keep the news in: name a base folder with --base DIR");
}

/// What a reader subscribes to is nobody else's business: the folder is the user's alone.
void makePrivate(const fs::path& folder) {
  if (mkdir(folder.c_str(), 0700) == 0) return;
  const int error = errno;
  std::error_code ignored;
  if (!fs::is_directory(folder, ignored)) failToMake(folder, std::strerror(error));
}

void makeSubfolders(const fs::path& base) {
  for (const char* name : kSubfolders) makePrivate(base / name);
}

}  // namespace

std::string openBaseFolder(const std::string& given) {
  std::error_code error;
  const fs::path base = fs::absolute(given.empty() ? defaultBaseFolder() : fs::path(given), error).lexically_normal();
  if (!error) fs::create_directories((base.has_filename() ? base : base.parent_path()).parent_path(), error);
  if (error) failToMake(base, error.message());
  makePrivate(base);
  makeSubfolders(base);
  return base.string();
}

TemporaryBaseFolder::TemporaryBaseFolder(const std::string& parent) {
  std::error_code error;
  const fs::path folder = parent.empty() ? fs::temp_directory_path(error) : fs::path(parent);
  if (error) failToMake("for temporary files", error.message());
  name_ = (folder / "quillmoria-demo-XXXXXX").string();
  if (!mkdtemp(name_.data())) failToMake(name_, std::strerror(errno));
  makeSubfolders(name_);
}

TemporaryBaseFolder::~TemporaryBaseFolder() {
  std::error_code ignored;
  fs::remove_all(name_, ignored);
}

}  // namespace quillmoria
