#include "SubscriptionList.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

#include "BaseFolder.h"
#include "Failure.h"
#include "FeedWalk.h"
#include "Output.h"
#include "SubscriptionFile.h"
#include "WebAddress.h"
#include "WholeFile.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

// Of what the engine reads as a list file.
constexpr std::uintmax_t kMaxFileBytes = 64 << 20;

void checkFile(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (!fs::exists(status)) {
    throw Failure(kWrongUse,
                  "there is no list " + path + ": give the path of an OPML file or its http or https address");
  }
  if (!fs::is_regular_file(status)) throw Failure(kWrongUse, path + " is not a file: give the path of an OPML file");
  if (fs::file_size(path, error) > kMaxFileBytes) {
    throw Failure(kWrongUse, path + " is above 64 MiB: split the list");
  }
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// `list` with each outline on a line of its own.
std::string inLines(std::string_view list) {
  constexpr std::string_view kTag = "<outline";
  std::string lines;
  while (true) {
    const std::size_t next = list.find(kTag, list.starts_with(kTag) ? kTag.size() : 0);
    lines += list.substr(0, next);
    if (next == std::string_view::npos) return lines;
    lines += '\n';
    list.remove_prefix(next);
  }
}

/// The engine takes long lines of a file apart wherever they are too long.
void parseFile(OPMLParser& parser, const std::string& path, const std::string& baseFolder) {
  const std::string content = contentOf(path);
  if (!hasLongLine(content)) return parser.ParseFromFile(path);
  const std::string lines = inLines(content);
  if (hasLongLine(lines)) {
    complain(path +
             " has outlines of more than 1,999 bytes, which are read in pieces: outlines may be missing (put their " +
             "attributes on lines of their own)");
  }
  const TemporaryBaseFolder folder(baseFolder);
  const std::string copy = (fs::path(folder.name()) / "list.opml").string();
  replaceFile(copy, lines);
  parser.ParseFromFile(copy);
}

void fetch(OPMLParser& parser, const std::string& url) {
  parser.ParseFromURL(url);
  if (parser.status == kStatusOk) return;
  const std::string why = parser.status.empty() ? "the fetch failed" : parser.status;
  throw Failure(kFailed, "the list " + url + " cannot be fetched: " + why + " (check the address and the network)");
}

}  // namespace

std::unique_ptr<OPMLParser> readSubscriptionList(const std::string& source, const std::string& baseFolder) {
  auto parser = std::make_unique<OPMLParser>(baseFolder);
  if (const std::optional<std::string> url = webAddress(source)) {
    fetch(*parser, *url);
  } else if (hasScheme(source)) {
    throw Failure(kWrongUse, source + " cannot be read: give a path or an http or https address without a user name");
  } else {
    checkFile(source);
    parseFile(*parser, source, baseFolder);
  }
  const OPMLDoc* list = parser->GetOPMLDoc();
  if (!list || list->outlines.empty()) {
    throw Failure(kWrongUse, source +
                                 " holds no subscription list in OPML form (a web page, or an unreadable or empty " +
                                 "file?): give the list itself");
  }
  return parser;
}

void subscribe(const OPMLDoc& list, const std::string& category, Profile profile, Subscriptions& subscriptions) {
  FeedWalk walk(list);
  while (const OPMLDoc::OutlineStruct* feed = walk.next()) {
    if (const std::optional<std::string> url = webAddress(feed->xmlUrl, profile)) {
      const std::string own = categoryOf(walk.path());
      subscriptions.add(own.empty() ? category : own, labelOf(*feed), *url);
    } else {
      complainOfAddress(*feed, profile);
    }
  }
}

void complainOfAddress(const OPMLDoc::OutlineStruct& feed, Profile profile) {
  complain(labelOf(feed) + ": " + feed.xmlUrl + " is no http or https address" +
           (profile == Profile::Classic ? ", or holds a user name" : "") + "; left out");
}

}  // namespace quillmoria
