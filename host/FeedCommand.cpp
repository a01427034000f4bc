#include "FeedCommand.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "Json.h"
#include "NewsListing.h"
#include "Pull.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

struct FeedOptions {
  std::string url;
  std::string user;
  std::string passwordFile;
  bool json = false;
};

constexpr std::size_t kMaxPasswordBytes = 1024;

/// The first line of the file: a password on the command line would be seen by every user of the machine. The file may
/// be a pipe, and have no end.
std::string readPassword(const std::string& path) {
  std::ifstream file(path);
  char line[kMaxPasswordBytes + 2] = "";  // and a carriage return
  if (!file.getline(line, sizeof line)) {
    throw Failure(kWrongUse, "no password can be read from " + path + ": its first line is to be the password");
  }
  std::string password = line;
  if (password.ends_with('\r')) password.pop_back();
  return password;
}

RSSObject::NewsFeed subscriptionOf(const FeedOptions& options, Profile profile) {
  const std::optional<std::string> url = typedAddress(options.url, profile);
  if (!url) {
    throw Failure(kWrongUse, shownAddress(options.url) + " is no http or https address" +
                                 (profile == Profile::Classic ? ", or holds a user name (give it with --user)" : ""));
  }
  RSSObject::NewsFeed feed;
  feed.name = withoutUserInformation(*url);
  feed.url = *url;
  feed.enabled = 1;
  feed.userName = options.user;
  if (!options.passwordFile.empty()) feed.password = readPassword(options.passwordFile);
  return feed;
}

int run(const FeedOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  Output& output = invocation.output;
  const RSSObject::NewsFeed feed = subscriptionOf(options, invocation.profile);
  const RSSObject news(feed, "", baseFolder);
  if (options.json) {
    output.line(feedAsJson(feed, news));
  } else if (news.itemCount >= 0) {
    listFeed(output, news);
  }
  output.flush();
  if (news.itemCount >= 0) return kDone;
  complain(feed.name + ": " + failureText(news));
  return kFailed;
}

}  // namespace

Command addFeed(CLI::App& app) {
  const auto options = std::make_shared<FeedOptions>();
  CLI::App* feed = declareCommand(app, "feed", "Fetch one feed and show it");
  feed->add_option("url", options->url, "The feed's http or https address")->required()->type_name("URL");
  CLI::Option* user = feed->add_option("--user", options->user, "The user name, if the server asks for one");
  feed->add_option("--password-file", options->passwordFile, "The file whose first line is the password")
      ->type_name("FILE")
      ->needs(user);
  feed->add_flag("--json", options->json, "Print one line of JSON");
  return {feed, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
