#include "platform/TextFile.h"

#include <optional>
#include <system_error>
#include <utility>

#include "platform/posix/EngineFile.h"

namespace quillmoria {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

/// The next bytes of `file`; none at its end, nothing if they cannot be read.
std::optional<std::size_t> readSome(int file, char* buffer, std::size_t count) {
  for (;;) {
    const ssize_t n = ::read(file, buffer, count);
    if (n >= 0) return static_cast<std::size_t>(n);
    if (errno != EINTR) return std::nullopt;
  }
}

TextFile readToEnd(int file, std::size_t maxBytes) {
  std::string text;
  for (;;) {
    const std::size_t size = text.size();
    text.resize(size + kPieceBytes);
    const std::optional<std::size_t> count = readSome(file, text.data() + size, kPieceBytes);
    text.resize(size + count.value_or(0));
    if (text.size() > maxBytes) return {};
    if (!count || *count == 0) return {std::move(text), count ? TextFile::End::Whole : TextFile::End::NotReadable};
  }
}

/// Why what is called `name` cannot be opened: nothing is, or can be, called so, or nobody knows what it holds.
TextFile notOpened(int directory, const std::string& name) {
  struct stat state;
  const bool isMissing = ::fstatat(directory, name.c_str(), &state, AT_SYMLINK_NOFOLLOW) != 0 &&
                         (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG);
  return {"", isMissing ? TextFile::End::Missing : TextFile::End::NotReadable};
}

TextFile readFile(int directory, const std::string& name, std::size_t maxBytes) {
  const Descriptor file = openRegular(directory, name.c_str(), O_RDONLY);
  return file ? readToEnd(file.get(), maxBytes) : notOpened(directory, name);
}

TextFile readEngineFile(const std::string& path, std::size_t maxBytes) {
  const std::optional<Place> place = locate(path);
  if (place) return readFile(place->directory.get(), place->name, maxBytes);
  const std::optional<std::string> folder = systemFolder(path.substr(0, path.rfind('\\')));
  return folder ? notOpened(AT_FDCWD, *folder) : TextFile{"", TextFile::End::Missing};
}

TextFile readHostFile(const std::string& path, std::size_t maxBytes) {
  if (path.find('\0') != std::string::npos) return {"", TextFile::End::Missing};
  return readFile(AT_FDCWD, path, maxBytes);
}

void dropCarriageReturnsAtLineEnds(std::string& text) {
  std::size_t kept = text.find("\r\n");
  if (kept == std::string::npos) return;
  for (std::size_t next = kept + 1; next < text.size(); ++next) {
    const bool belongsToLineEnd = text[next] == '\r' && next + 1 < text.size() && text[next + 1] == '\n';
    if (!belongsToLineEnd) text[kept++] = text[next];
  }
  text.resize(kept);
}

}  // namespace

TextFile readTextFile(const std::string& path, PathForm form, std::size_t maxBytes) try {
  TextFile file = form == PathForm::Engine ? readEngineFile(path, maxBytes) : readHostFile(path, maxBytes);
  dropCarriageReturnsAtLineEnds(file.text);
  return file;
} catch (const std::system_error&) {
  return {};  // where descriptors or memory lack, the file may be there
}

}  // namespace quillmoria
