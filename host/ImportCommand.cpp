#include "ImportCommand.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "BaseFolder.h"
#include "Failure.h"
#include "FeedTree.h"
#include "FeedWalk.h"
#include "SubscriptionFile.h"
#include "SubscriptionList.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

struct Counts {
  std::size_t added = 0;
  std::size_t known = 0;
  std::size_t leftOut = 0;
};

Counts merge(const OPMLDoc& from, OPMLDoc& into, Profile profile) {
  Counts counts;
  FeedTree tree(into);
  FeedWalk walk(from);
  while (const OPMLDoc::OutlineStruct* feed = walk.next()) {
    const std::optional<std::string> url = webAddress(feed->xmlUrl, profile);
    if (!url || !fitsList(*url)) {
      complainOfAddress(*feed, profile);
      ++counts.leftOut;
    } else if (tree.find(*url)) {
      ++counts.known;
    } else {
      OPMLDoc::OutlineStruct& own = tree.add(walk.path(), labelOf(*feed), *url);
      own.url = feed->url;
      own.description = feed->description;
      ++counts.added;
    }
  }
  return counts;
}

int run(const std::string& source, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  const std::unique_ptr<OPMLParser> parser = readSubscriptionList(source, baseFolder);
  unwrap(*parser->GetOPMLDoc());
  Counts counts;
  changeSubscriptions(baseFolder, [&](OPMLDoc& list) {
    counts = merge(*parser->GetOPMLDoc(), list, invocation.profile);
    return counts.added > 0;
  });
  const std::size_t all = counts.added + counts.known + counts.leftOut;
  if (all == 0) throw Failure(kWrongUse, source + " names no feed: give a list that does");
  invocation.output.line(counted(all, "feed") + ": " + std::to_string(counts.added) + " new, " +
                         std::to_string(counts.known) + " subscribed to already, " + std::to_string(counts.leftOut) +
                         " left out");
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
