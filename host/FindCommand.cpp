#include "FindCommand.h"

#include <optional>

#include "Failure.h"
#include "Json.h"
#include "Text.h"
#include "WebAddress.h"
#include "quillmoria/FindFeeds.h"

namespace quillmoria {
namespace {

/// "Example News (application/rss+xml) <http://example.org/news.rss>"
std::string asLine(const FoundFeed& feed) {
  std::string line = collapsed(feed.title);
  if (!feed.type.empty()) line += (line.empty() ? "(" : " (") + feed.type + ")";
  return line + (line.empty() ? "<" : " <") + withoutUserInformation(feed.url) + ">";
}

}  // namespace

int findCommand(const FindOptions& options, const std::string& baseFolder, Output& output) {
  const std::optional<std::string> url = typedAddress(options.url, Profile::Modern);
  if (!url) throw Failure(kWrongUse, shownAddress(options.url) + " is no http or https address");
  const FoundFeeds found = FindFeeds(*url, baseFolder);
  for (const FoundFeed& feed : found.feeds) output.line(options.json ? foundFeedAsJson(feed) : asLine(feed));
  output.flush();
  if (!found.feeds.empty()) return kDone;
  complain(*url + ": " + (found.outcome == Outcome::Fetched ? "names no feed" : found.statusMessage));
  return kFailed;
}

}  // namespace quillmoria
