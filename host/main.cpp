#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "BaseFolder.h"
#include "Demo.h"
#include "Failure.h"
#include "FeedCommand.h"
#include "FindCommand.h"
#include "OpmlCommand.h"
#include "Output.h"
#include "PullCommand.h"
#include "quillmoria/Profile.h"
#include "quillmoria/Version.h"

namespace quillmoria {
namespace {

constexpr char kFooter[] =
    "Every command takes --base DIR, --profile P, --help and --version.\n"
    "Exit status: 0 done, 1 a feed failed, 2 wrong use, 130 stopped by Ctrl-C.";

std::string versionText() { return "quillmoria " + Version() + "\n" + LibraryVersions(); }

CLI::App* addCommand(CLI::App& app, const char* name, const char* description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->fallthrough();
  command->footer(kFooter);
  return command;
}

/// Modern unless the command line or else the environment says otherwise.
void addProfile(CLI::App& app, Profile& profile) {
  const auto setProfile = [&profile](const std::string& name) {
    if (name != "classic" && name != "modern") {
      throw CLI::ValidationError("--profile, QUILLMORIA_PROFILE", name + " is no profile: classic or modern");
    }
    profile = name == "classic" ? Profile::Classic : Profile::Modern;
  };
  app.add_option_function<std::string>("--profile", setProfile, "The rules to read feeds by: classic or modern")
      ->type_name("P")
      ->default_str("modern")
      ->envname("QUILLMORIA_PROFILE");
}

CLI::App* addPull(CLI::App& app, PullOptions& options) {
  CLI::App* pull = addCommand(app, "pull", "Fetch feeds and show what is new");
  pull->add_option("--feed", options.feeds,
                   "A feed and its address; may be repeated. Its cache file has the name, with _ for characters that "
                   "no file name may hold, slashes included")
      ->type_name("NAME=URL")
      ->allow_extra_args(false);
  pull->add_option("--category", options.category, "The category of feeds that stand in no container of a list")
      ->type_name("C")
      ->capture_default_str();
  pull->add_option("--opml", options.list, "A subscription list in OPML form")->type_name("FILE|URL");
  CLI::Option* offline = pull->add_flag_callback(
      "--offline", [&options] { options.connected = ConnectedState::Disconnected; }, "Read the feeds from the cache");
  pull->add_flag_callback(
          "--online", [&options] { options.connected = ConnectedState::Connected; },
          "Fetch even if the machine seems to be offline")
      ->excludes(offline);
  const CLI::Range jobs(1, 64);
  pull->add_option("--jobs", options.jobs, "Fetch up to N feeds at once")
      ->type_name("N")
      ->check(jobs)
      ->capture_default_str();
  pull->add_option("--jobs-per-host", options.jobsPerHost, "and of them up to N from one host and port")
      ->type_name("N")
      ->check(jobs)
      ->capture_default_str();
  pull->add_flag_callback(
      "--all", [&options] { options.extent = Extent::Whole; }, "List all items of a feed, with their whole titles");
  pull->add_flag("--json", options.json, "Print one line of JSON per feed");
  return pull;
}

CLI::App* addFeed(CLI::App& app, FeedOptions& options) {
  CLI::App* feed = addCommand(app, "feed", "Fetch one feed and show it");
  feed->add_option("url", options.url, "The feed's http or https address")->required()->type_name("URL");
  CLI::Option* user = feed->add_option("--user", options.user, "The user name, if the server asks for one");
  feed->add_option("--password-file", options.passwordFile, "The file whose first line is the password")
      ->type_name("FILE")
      ->needs(user);
  feed->add_flag("--json", options.json, "Print one line of JSON");
  return feed;
}

CLI::App* addFind(CLI::App& app, FindOptions& options) {
  CLI::App* find = addCommand(app, "find", "Find the feeds of a web page");
  find->add_option("url", options.url, "The page's http or https address")->required()->type_name("URL");
  find->add_flag("--json", options.json, "Print one line of JSON per feed");
  return find;
}

CLI::App* addOpml(CLI::App& app, OpmlOptions& options) {
  CLI::App* opml = addCommand(app, "opml", "Show the tree of a subscription list");
  opml->add_option("list", options.list, "An OPML file or its http or https address")
      ->required()
      ->type_name("FILE|URL");
  opml->add_flag("--json", options.json, "Print one line of JSON per outline");
  return opml;
}

/// Prints what a parse that ends in help, version or a complaint has to say. Returns the exit status.
int report(const CLI::App& app, const CLI::ParseError& end, Output& output) {
  std::ostringstream results;
  std::ostringstream errors;
  const bool asked = app.exit(end, results, errors) == 0;
  std::istringstream lines(asked ? results.str() : errors.str());
  for (std::string line; std::getline(lines, line);) asked ? output.line(line) : complain(line);
  output.flush();
  return asked ? kDone : kWrongUse;
}

/// The word that stands where a command should; empty if there is none.
std::string unknownCommand(const CLI::App& app) {
  const std::vector<std::string> words = app.remaining();
  const bool isMissing = app.get_subcommands().empty() && !words.empty() && !words.front().starts_with('-');
  return isMissing ? words.front() : "";
}

int run(int argc, char** argv, Output& output) {
  CLI::App app("Reads feeds: RSS, Atom and JSON Feed.", "quillmoria");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.set_version_flag("--version", versionText, "Print the versions of the program and its libraries and end");
  std::string base;
  app.add_option("--base", base, "The folder for cache, pictures and settings; the user's data folder if not given")
      ->type_name("DIR");
  Profile profile = Profile::Modern;
  addProfile(app, profile);
  PullOptions pullOptions;
  FeedOptions feedOptions;
  FindOptions findOptions;
  OpmlOptions opmlOptions;
  const CLI::App* pull = addPull(app, pullOptions);
  const CLI::App* feed = addFeed(app, feedOptions);
  const CLI::App* find = addFind(app, findOptions);
  addOpml(app, opmlOptions);
  const CLI::App* demo =
      addCommand(app, "demo", "Show the engine at work on sample feeds of its own; needs no network");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& end) {
    if (const std::string word = unknownCommand(app); !word.empty()) {
      throw Failure(kWrongUse, "there is no command " + word + ": pull, feed, find, opml or demo");
    }
    return report(app, end, output);
  }
  SetProfile(profile);
  if (demo->parsed()) return demoCommand(profile, base, output);
  const std::string baseFolder = openBaseFolder(base);
  if (pull->parsed()) return pullCommand(pullOptions, profile, baseFolder, output);
  if (feed->parsed()) return feedCommand(feedOptions, profile, baseFolder, output);
  if (find->parsed()) return findCommand(findOptions, baseFolder, output);
  return opmlCommand(opmlOptions, baseFolder, output);
}

}  // namespace
}  // namespace quillmoria

int main(int argc, char** argv) {
  using namespace quillmoria;
  // A server or a reader of our output that hangs up must not end the program.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    Output output;
    return run(argc, argv, output);
  } catch (const Failure& failure) {
    complain(failure.what());
    return failure.status();
  } catch (const std::exception& error) {
    complain(error.what());
    return kFailed;
  }
}
