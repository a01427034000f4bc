#include "SubscriptionFile.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "Failure.h"
#include "OutlineWalk.h"
#include "WholeFile.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

// Of what the engine reads as a list file.
constexpr std::uintmax_t kMaxFileBytes = 64 << 20;
constexpr std::size_t kMaxLineBytes = 1999;
constexpr std::size_t kMaxOutlines = 1'000'000;

std::string pathIn(const std::string& baseFolder) { return (fs::path(baseFolder) / "subscriptions.opml").string(); }

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw Failure(kWrongUse, "the subscriptions in " + path + " " + why +
                               ": mend the file, or move it away and give it to quillmoria import");
}

std::string contentOf(const std::string& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) refuse(path, "are no file");
  if (fs::file_size(path, error) > kMaxFileBytes) refuse(path, "are above 64 MiB");
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) refuse(path, "cannot be read");
  return text;
}

/// How many outlines the body of the document has, parsed or not: no text of one may hold a "<". None if there are
/// other tags in it, or no end.
std::optional<std::size_t> outlineTags(std::string_view document) {
  constexpr std::string_view kTag = "<outline", kCommentStart = "<!--", kCommentEnd = "-->", kEnd = "</opml>";
  constexpr std::string_view kOthers[] = {"<body", "</outline", "</body", kEnd};
  document.remove_prefix(std::min(document.find("<body"), document.size()));
  if (document.find(kEnd) == std::string_view::npos) return std::nullopt;
  std::size_t count = 0;
  for (std::size_t i = 0; (i = document.find('<', i)) != std::string_view::npos; ++i) {
    const std::string_view rest = document.substr(i);
    if (rest.starts_with(kTag)) {
      ++count;
    } else if (rest.starts_with(kCommentStart)) {
      i = std::min(document.find(kCommentEnd, i), document.size() - 1);
    } else if (std::ranges::none_of(kOthers, [rest](std::string_view tag) { return rest.starts_with(tag); })) {
      return std::nullopt;
    }
  }
  return count;
}

std::size_t outlinesOf(const OPMLDoc& list) {
  OutlineWalk walk(list);
  std::size_t count = 0;
  while (walk.next()) ++count;
  return count;
}

OPMLDoc parsed(const std::string& path, const std::string& baseFolder) {
  OPMLParser parser(baseFolder);
  parser.ParseFromFile(path);
  OPMLDoc list = *parser.GetOPMLDoc();
  unwrap(list);
  return list;
}

/// The parser keeps what stands before a fault and says nothing of it. Written anew, the list would lose the rest.
OPMLDoc readWhole(const std::string& path, const std::string& baseFolder) {
  std::string text = contentOf(path);
  while (true) {
    if (hasLongLine(text)) refuse(path, "have lines of more than 1,999 bytes");
    OPMLDoc list = parsed(path, baseFolder);
    if (outlineTags(text) == outlinesOf(list)) return list;
    // Unless the file has been replaced by another between the two looks at it.
    if (const std::string before = std::exchange(text, contentOf(path)); before == text) refuse(path, "are damaged");
  }
}

}  // namespace

OPMLDoc readSubscriptions(const std::string& baseFolder) {
  const std::string path = pathIn(baseFolder);
  std::error_code error;
  const fs::file_status status = fs::symlink_status(path, error);
  if (status.type() == fs::file_type::not_found) return {};
  if (error) refuse(path, "cannot be read (" + error.message() + ")");
  return readWhole(path, baseFolder);
}

void changeSubscriptions(const std::string& baseFolder, const std::function<bool(OPMLDoc&)>& change) {
  const FolderLock lock(baseFolder);
  OPMLDoc list = readSubscriptions(baseFolder);
  if (!change(list)) return;
  list.head.title = u"Subscriptions";
  list.head.dateModified = CTime::GetCurrentTime();
  if (list.head.dateCreated == CTime()) list.head.dateCreated = list.head.dateModified;
  const std::string text = WriteOPML(list);
  if (text.size() > kMaxFileBytes || outlinesOf(list) > kMaxOutlines) {
    throw Failure(kWrongUse, "so many subscriptions cannot be kept");
  }
  replaceFile(pathIn(baseFolder), text);
}

bool fitsList(std::string_view url) {
  constexpr std::size_t kMaxReferenceBytes = 6;  // "&quot;"
  const auto escaped = static_cast<std::size_t>(std::ranges::count_if(
      url, [](char c) { return std::string_view("&<>\"\t\r\n").find(c) != std::string_view::npos; }));
  return url.size() + escaped * kMaxReferenceBytes <= kMaxLineBytes - 100;
}

bool hasLongLine(std::string_view text) {
  while (true) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (end > kMaxLineBytes) return true;
    if (end == text.size()) return false;
    text.remove_prefix(end + 1);
  }
}

void unwrap(OPMLDoc& list) {
  const bool isWrapper = list.outlines.size() == 1 && list.outlines[0]->xmlUrl.empty() &&
                         (list.outlines[0]->children.empty() || !list.outlines[0]->children[0]->parent);
  if (!isWrapper) return;
  const std::unique_ptr<OPMLDoc::OutlineStruct> wrapper(list.outlines[0]);
  list.outlines = std::move(wrapper->children);
  wrapper->children.clear();
}

}  // namespace quillmoria
