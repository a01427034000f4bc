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

/// `list` in lines of the length that the engine reads whole, as far as that can be.
std::string inShortLines(std::string_view list, const std::string& name) {
  std::string lines = inLines(list);
  if (hasLongLine(lines)) {
    complain(name +
             " has outlines of more than 1,999 bytes, which are read in pieces: outlines may be missing (put their " +
             "attributes on lines of their own)");
  }
  return lines;
}

/// The engine reads files alone.
void parseText(OPMLParser& parser, std::string_view list, const std::string& baseFolder) {
  const TemporaryBaseFolder folder(baseFolder);
  const std::string copy = (fs::path(folder.name()) / "list.opml").string();
  replaceFile(copy, list);
  parser.ParseFromFile(copy);
}

/// The engine takes long lines of a file apart wherever they are too long.
void parseFile(OPMLParser& parser, const std::string& path, const std::string& baseFolder) {
  const std::string content = contentOf(path);
  if (!hasLongLine(content)) return parser.ParseFromFile(path);
  parseText(parser, inShortLines(content, path), baseFolder);
}

void fetch(OPMLParser& parser, const std::string& url) {
  parser.ParseFromURL(url);
  if (parser.status == kStatusOk) return;
  const std::string why = parser.status.empty() ? "the fetch failed" : parser.status;
  throw Failure(kFailed, "the list " + url + " cannot be fetched: " + why + " (check the address and the network)");
}

/// Refuses what gave no list.
void checkList(const OPMLParser& parser, const std::string& source) {
  const OPMLDoc* list = parser.GetOPMLDoc();
  if (list && !list->outlines.empty()) return;
  throw Failure(kWrongUse, source + " holds no subscription list in OPML form (a web page, or an unreadable or empty " +
                               "file?): give the list itself");
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
  checkList(*parser, source);
  return parser;
}

std::unique_ptr<OPMLParser> parseSubscriptionList(std::string_view list, const std::string& name,
                                                  const std::string& baseFolder) {
  auto parser = std::make_unique<OPMLParser>(baseFolder);
  parseText(*parser, hasLongLine(list) ? inShortLines(list, name) : list, baseFolder);
  checkList(*parser, name);
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
