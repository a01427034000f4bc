#include "FindCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "Json.h"
#include "Text.h"
#include "WebAddress.h"
#include "quillmoria/FindFeeds.h"

namespace quillmoria {
namespace {

struct FindOptions {
  std::string url;
  bool json = false;
};

/// "Example News (application/rss+xml) <http://example.org/news.rss>"
std::string asLine(const FoundFeed& feed) {
  std::string line = collapsed(feed.title);
  if (!feed.type.empty()) line += (line.empty() ? "(" : " (") + feed.type + ")";
  return line + (line.empty() ? "<" : " <") + withoutUserInformation(feed.url) + ">";
}

int run(const FindOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  Output& output = invocation.output;
  const std::optional<std::string> url = typedAddress(options.url, Profile::Modern);
  if (!url) throw Failure(kWrongUse, shownAddress(options.url) + " is no http or https address");
  const FoundFeeds found = FindFeeds(*url, baseFolder);
  for (const FoundFeed& feed : found.feeds) output.line(options.json ? foundFeedAsJson(feed) : asLine(feed));
  output.flush();
  if (!found.feeds.empty()) return kDone;
  complain(*url + ": " + (found.outcome == Outcome::Fetched ? "names no feed" : found.statusMessage));
  return kFailed;
}

}  // namespace

Command addFind(CLI::App& app) {
  const auto options = std::make_shared<FindOptions>();
  CLI::App* find = declareCommand(app, "find", "Find the feeds of a web page");
  find->add_option("url", options->url, "The page's http or https address")->required()->type_name("URL");
  find->add_flag("--json", options->json, "Print one line of JSON per feed");
  return {find, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
