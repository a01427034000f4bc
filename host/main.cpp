#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "AddCommand.h"
#include "ArchiveCommand.h"
#include "Command.h"
#include "Demo.h"
#include "ExportCommand.h"
#include "Failure.h"
#include "FeedCommand.h"
#include "FindCommand.h"
#include "ImportCommand.h"
#include "ListCommand.h"
#include "MarkCommand.h"
#include "NewsCommand.h"
#include "OpenCommand.h"
#include "OpmlCommand.h"
#include "Output.h"
#include "PullCommand.h"
#include "ReadCommand.h"
#include "RemoveCommand.h"
#include "ShowCommand.h"
#include "quillmoria/Profile.h"
#include "quillmoria/Version.h"

namespace quillmoria {
namespace {

/// In the order of the help text.
constexpr Command (*kCommands[])(CLI::App& app) = {
    addAdd,  addRemove, addList, addImport, addExport,  addPull, addNews, addSearch, addRead,
    addShow, addOpen,   addMark, addFind,   addArchive, addFeed, addOpml, addDemo,
};

std::string versionText() { return "quillmoria " + Version() + "\n" + LibraryVersions(); }

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

/// "pull, feed or demo"
std::string namesOf(const std::vector<Command>& commands) {
  std::string names;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (i > 0) names += i + 1 < commands.size() ? ", " : " or ";
    names += commands[i].options->get_name();
  }
  return names;
}

int run(int argc, char** argv, Output& output) {
  CLI::App app("Reads feeds: RSS, Atom and JSON Feed.", "quillmoria");
  app.footer(kHelpFooter);
  app.require_subcommand(1);
  app.set_version_flag("--version", versionText, "Print the versions of the program and its libraries and end");
  std::string base;
  app.add_option("--base", base, "The folder for cache, pictures and settings; the user's data folder if not given")
      ->type_name("DIR");
  Profile profile = Profile::Modern;
  addProfile(app, profile);
  std::vector<Command> commands;
  for (const auto add : kCommands) commands.push_back(add(app));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& end) {
    if (const std::string word = unknownCommand(app); !word.empty()) {
      throw Failure(kWrongUse, "there is no command " + word + ": " + namesOf(commands));
    }
    return report(app, end, output);
  }
  SetProfile(profile);
  const auto chosen = std::ranges::find_if(commands, [](const Command& command) { return command.options->parsed(); });
  return chosen->run({profile, base, output});
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
