#include "ImportCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "Subscribing.h"

namespace quillmoria {
namespace {

int run(const std::string& source, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  invocation.output.line(textOf(importList(source, baseFolder, invocation.profile)));
  invocation.output.flush();
  return kDone;
}

}  // namespace

Command addImport(CLI::App& app) {
  const auto source = std::make_shared<std::string>();
  CLI::App* command = declareCommand(app, "import", "Subscribe to the feeds of a list that are not there yet");
  command->add_option("list", *source, "An OPML file or its http or https address")->required()->type_name("FILE|URL");
  return {command, [source](const Invocation& invocation) { return run(*source, invocation); }};
}

}  // namespace quillmoria
