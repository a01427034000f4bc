#include "Command.h"

#include <CLI/CLI.hpp>

namespace quillmoria {

const char kHelpFooter[] =
    "Every command takes --base DIR, --profile P, --help and --version.\n"
    "Exit status: 0 done, 1 a feed failed, 2 wrong use, 130 stopped by Ctrl-C.";

CLI::App* declareCommand(CLI::App& app, const char* name, const char* description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->fallthrough();
  command->footer(kHelpFooter);
  return command;
}

}  // namespace quillmoria
