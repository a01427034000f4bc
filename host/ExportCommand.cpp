#include "ExportCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "Subscribing.h"
#include "WholeFile.h"

namespace quillmoria {
namespace {

int run(const std::string& file, const Invocation& invocation) {
  const std::string text = exportedList(openBaseFolder(invocation.base));
  if (file.empty()) {
    invocation.output.document(text);
    invocation.output.flush();
  } else {
    replaceFile(file, text);
  }
  return kDone;
}

}  // namespace

Command addExport(CLI::App& app) {
  const auto file = std::make_shared<std::string>();
  CLI::App* command = declareCommand(app, "export", "Write the subscriptions as a list in OPML form");
  command->add_option("file", *file, "The file to write; the standard output if not given")->type_name("FILE");
  return {command, [file](const Invocation& invocation) { return run(*file, invocation); }};
}

}  // namespace quillmoria
