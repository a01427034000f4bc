#include "OpenCommand.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Archive.h"
#include "BaseFolder.h"
#include "Browser.h"
#include "Failure.h"

namespace quillmoria {
namespace {

/// Whether it could be opened. Says why not.
bool openItem(std::int64_t id, NewsArchive& archive) {
  const std::optional<ArchivedItem> item = archive.Item(id);
  if (!item) {
    complainOfUnknown(id);
    return false;
  }
  const std::optional<std::string> address = browserAddress(item->item.link);
  if (!address) {
    complain("item " + std::to_string(id) + " has no http or https address: quillmoria show " + std::to_string(id) +
             " shows its text");
    return false;
  }
  openInBrowser(*address);
  archive.MarkItems({{id}}, ItemMark::Read);
  return true;
}

int run(const std::vector<std::int64_t>& ids, const Invocation& invocation) {
  bool areAllOpen = true;
  useArchive(openBaseFolder(invocation.base), [&](NewsArchive& archive) {
    for (const std::int64_t id : ids) areAllOpen = openItem(id, archive) && areAllOpen;
  });
  return areAllOpen ? kDone : kFailed;
}

}  // namespace

Command addOpen(CLI::App& app) {
  const auto ids = std::make_shared<std::vector<std::int64_t>>();
  CLI::App* open = declareCommand(app, "open", "Open items of the archive in the browser, and mark them as read");
  open->add_option("ids", *ids, "Their numbers, as news and search tell them")->required()->type_name("ID");
  return {open, [ids](const Invocation& invocation) { return run(*ids, invocation); }};
}

}  // namespace quillmoria
