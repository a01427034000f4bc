#include "ShowCommand.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Archive.h"
#include "ArticleText.h"
#include "BaseFolder.h"
#include "Failure.h"
#include "ItemText.h"
#include "Json.h"
#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::size_t kUsualColumns = 80;
constexpr int kLinesBetween = 2;

struct ShowOptions {
  std::vector<std::int64_t> ids;
  bool keepUnread = false;
  bool json = false;
};

/// Title, feed, authors, time, address and enclosed files.
void writeHead(TextLayout& head, const ArchivedItem& archived) {
  head.write(titleText(archived.item));
  head.indent("  ", "  ");
  const auto writeLine = [&head](std::string_view before, const std::string& text) {
    head.endLine();
    if (!collapsed(text).empty()) head.write(std::string(before).append(text));
  };
  writeLine("", archived.category.empty() ? archived.feedName : archived.feedName + " (" + archived.category + ")");
  writeLine("by ", toUtf8(archived.item.creatorW));
  writeLine("", timeText(archived.item.date));
  // Addresses stay in one piece, to be copied.
  const auto writeAddress = [&head](std::string_view before, const std::string& text) {
    head.endLine();
    if (!text.empty()) head.writeVerbatim(before.empty() ? text : std::string(before).append(text));
  };
  writeAddress("", withoutUserInformation(archived.item.link));
  for (const Enclosure& enclosure : archived.details.enclosures) writeAddress("with ", enclosureText(enclosure));
  head.outdent();
}

void showAsText(const ArchivedItem& archived, Output& output) {
  const std::size_t columns = output.columns().value_or(kUsualColumns);
  const LineSink sink = [&output](std::string_view line) { output.line(line); };
  TextLayout head(columns, sink);
  writeHead(head, archived);
  if (archived.item.descriptionW.empty()) return;
  sink("");
  writeArticle(toUtf8(archived.item.descriptionW), columns, sink);
}

bool show(const ShowOptions& options, NewsArchive& archive, Output& output) {
  std::vector<std::int64_t> shown;
  for (const std::int64_t id : options.ids) {
    const std::optional<ArchivedItem> item = archive.Item(id);
    if (!item) {
      complainOfUnknown(id);
      continue;
    }
    if (options.json) {
      output.line(archivedItemAsJson(*item));
    } else {
      for (int i = 0; i < kLinesBetween && !shown.empty(); ++i) output.line("");
      showAsText(*item, output);
    }
    shown.push_back(id);
  }
  output.flush();
  if (!options.keepUnread) archive.MarkItems(shown, ItemMark::Read);
  return shown.size() == options.ids.size();
}

int run(const ShowOptions& options, const Invocation& invocation) {
  bool isComplete = false;
  useArchive(openBaseFolder(invocation.base),
             [&](NewsArchive& archive) { isComplete = show(options, archive, invocation.output); });
  return isComplete ? kDone : kFailed;
}

}  // namespace

Command addShow(CLI::App& app) {
  const auto options = std::make_shared<ShowOptions>();
  CLI::App* show = declareCommand(app, "show", "Show items of the archive as text, and mark them as read");
  show->add_option("ids", options->ids, "Their numbers, as news and search tell them")->required()->type_name("ID");
  show->add_flag("--keep-unread", options->keepUnread, "Do not mark them");
  show->add_flag("--json", options->json, "Print one line of JSON per item");
  return {show, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
