#pragma once

#include <functional>
#include <string>

#include "Output.h"
#include "quillmoria/Profile.h"

namespace CLI {
class App;
}

namespace quillmoria {

/// What every command is started with.
struct Invocation {
  Profile profile = Profile::Modern;  ///< the engine's already
  std::string base;                   ///< the base folder as given, empty if it is not; for openBaseFolder
  Output& output;
};

/// A command of the program: its part of the command line, and what it does. Returns the exit status; throws Failure.
struct Command {
  const CLI::App* options;
  std::function<int(const Invocation&)> run;
};

/// Declares the command `name` on `app`, with what all commands have in common.
CLI::App* declareCommand(CLI::App& app, const char* name, const char* description);

/// The end of every help text.
extern const char kHelpFooter[];

}  // namespace quillmoria
