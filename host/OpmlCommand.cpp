#include "OpmlCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "Json.h"
#include "OutlineWalk.h"
#include "SubscriptionList.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

struct OpmlOptions {
  std::string list;  ///< path or address
  bool json = false;
};

// Deeper outlines are indented no further: a hostile list would otherwise make output of quadratic length.
constexpr std::size_t kMaxIndentLevels = 32;

std::string asLine(const OPMLDoc::OutlineStruct& outline, std::size_t level) {
  std::string line(2 * std::min(level, kMaxIndentLevels), ' ');
  line += withoutUserInformation(collapsed(toUtf8(outline.text)));
  if (!outline.xmlUrl.empty()) line += " <" + withoutUserInformation(outline.xmlUrl) + ">";
  return line;
}

int run(const OpmlOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  Output& output = invocation.output;
  const std::unique_ptr<OPMLParser> parser = readSubscriptionList(options.list, baseFolder);
  OutlineWalk walk(*parser->GetOPMLDoc());
  while (const OPMLDoc::OutlineStruct* outline = walk.next()) {
    output.line(options.json ? outlineAsJson(*outline, walk.depth()) : asLine(*outline, walk.depth()));
  }
  output.flush();
  return kDone;
}

}  // namespace

Command addOpml(CLI::App& app) {
  const auto options = std::make_shared<OpmlOptions>();
  CLI::App* opml = declareCommand(app, "opml", "Show the tree of a subscription list");
  opml->add_option("list", options->list, "An OPML file or its http or https address")
      ->required()
      ->type_name("FILE|URL");
  opml->add_flag("--json", options->json, "Print one line of JSON per outline");
  return {opml, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
