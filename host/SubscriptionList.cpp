#include "SubscriptionList.h"

#include <filesystem>
#include <fstream>
#include <optional>

#include "Failure.h"
#include "FeedWalk.h"
#include "Output.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

namespace fs = std::filesystem;

// Of what the engine reads as a list file.
constexpr std::uintmax_t kMaxFileBytes = 64 << 20;
constexpr std::size_t kMaxLineBytes = 1999;

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

bool hasLongLine(const std::string& path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.size() > kMaxLineBytes) return true;
  }
  return false;
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
    if (hasLongLine(source)) {
      complain(source + " has lines of more than 1,999 bytes, which are read in pieces: outlines may be missing (put " +
               "each on a line of its own)");
    }
    parser->ParseFromFile(source);
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
