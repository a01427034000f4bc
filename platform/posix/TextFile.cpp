#include "platform/TextFile.h"

#include "platform/CFile.h"
#include "platform/posix/Descriptor.h"

namespace quillmoria {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

/// Everything that `read(buffer, count)` delivers; nothing if it fails (-1) or delivers more than `maxBytes`.
template <class Read>
std::optional<std::string> readAll(Read read, std::size_t maxBytes) {
  std::string text;
  for (;;) {
    const std::size_t size = text.size();
    text.resize(size + kPieceBytes);
    const ssize_t n = read(text.data() + size, kPieceBytes);
    if (n < 0) return std::nullopt;
    text.resize(size + static_cast<std::size_t>(n));
    if (text.size() > maxBytes) return std::nullopt;
    if (static_cast<std::size_t>(n) < kPieceBytes) return text;
  }
}

std::optional<std::string> readEngineFile(const std::string& path, std::size_t maxBytes) {
  CFile file;
  if (!file.Open(path, CFile::modeRead)) return std::nullopt;
  try {
    return readAll([&](char* buffer, std::size_t count) { return static_cast<ssize_t>(file.Read(buffer, count)); },
                   maxBytes);
  } catch (const CFileException&) {
    return std::nullopt;
  }
}

std::optional<std::string> readHostFile(const std::string& path, std::size_t maxBytes) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  try {
    const Descriptor file = openRegular(AT_FDCWD, path.c_str(), O_RDONLY);
    if (!file) return std::nullopt;
    return readAll([&](char* buffer, std::size_t count) { return readFully(file.get(), buffer, count); }, maxBytes);
  } catch (const std::system_error&) {
    return std::nullopt;
  }
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

std::optional<std::string> readTextFile(const std::string& path, PathForm form, std::size_t maxBytes) {
  std::optional<std::string> text =
      form == PathForm::Engine ? readEngineFile(path, maxBytes) : readHostFile(path, maxBytes);
  if (text) dropCarriageReturnsAtLineEnds(*text);
  return text;
}

}  // namespace quillmoria
