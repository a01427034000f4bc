#include "OpmlCommand.h"

#include <algorithm>

#include "Failure.h"
#include "Json.h"
#include "OutlineWalk.h"
#include "SubscriptionList.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

// Deeper outlines are indented no further: a hostile list would otherwise make output of quadratic length.
constexpr std::size_t kMaxIndentLevels = 32;

std::string asLine(const OPMLDoc::OutlineStruct& outline, std::size_t level) {
  std::string line(2 * std::min(level, kMaxIndentLevels), ' ');
  line += withoutUserInformation(collapsed(toUtf8(outline.text)));
  if (!outline.xmlUrl.empty()) line += " <" + withoutUserInformation(outline.xmlUrl) + ">";
  return line;
}

}  // namespace

int opmlCommand(const OpmlOptions& options, const std::string& baseFolder, Output& output) {
  const std::unique_ptr<OPMLParser> parser = readSubscriptionList(options.list, baseFolder);
  OutlineWalk walk(*parser->GetOPMLDoc());
  while (const OPMLDoc::OutlineStruct* outline = walk.next()) {
    output.line(options.json ? outlineAsJson(*outline, walk.depth()) : asLine(*outline, walk.depth()));
  }
  output.flush();
  return kDone;
}

}  // namespace quillmoria
