#include "ExportCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "OutlineWalk.h"
#include "SubscriptionFile.h"
#include "WebAddress.h"
#include "WholeFile.h"

namespace quillmoria {
namespace {

/// Lists are given to others.
void forgetUserInformation(const OPMLDoc& list) {
  OutlineWalk walk(list);
  while (const OPMLDoc::OutlineStruct* outline = walk.next()) {
    auto* const own = const_cast<OPMLDoc::OutlineStruct*>(outline);
    own->xmlUrl = withoutUserInformation(own->xmlUrl);
    own->url = withoutUserInformation(own->url);
  }
}

int run(const std::string& file, const Invocation& invocation) {
  OPMLDoc list = readSubscriptions(openBaseFolder(invocation.base));
  forgetUserInformation(list);
  if (list.head.title.empty()) list.head.title = u"Subscriptions";
  const std::string text = WriteOPML(list);
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
