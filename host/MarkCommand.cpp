#include "MarkCommand.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Archive.h"
#include "BaseFolder.h"
#include "Failure.h"
#include "ItemFilter.h"
#include "Text.h"

namespace quillmoria {
namespace {

struct MarkWord {
  const char* option;
  ItemMark mark;
  const char* help;
  std::string_view done;
};

constexpr MarkWord kMarks[] = {
    {"--read", ItemMark::Read, "As read", "marked as read"},
    {"--unread", ItemMark::Unread, "As not read", "marked as unread"},
    {"--star", ItemMark::Starred, "With a star: it is kept for good", "given a star"},
    {"--unstar", ItemMark::Unstarred, "Without a star", "without their star now"},
};

struct MarkOptions {
  std::vector<std::int64_t> ids;
  bool all = false;
  ItemFilter filter;
  const MarkWord* mark = nullptr;
};

/// Says which of the items the archive does not have. Whether it has all.
bool knowsAll(const std::vector<std::int64_t>& ids, NewsArchive& archive) {
  bool areKnown = true;
  for (const std::int64_t id : ids) {
    if (archive.Item(id)) continue;
    complainOfUnknown(id);
    areKnown = false;
  }
  return areKnown;
}

void checkUse(const MarkOptions& options) {
  if (!options.mark) throw Failure(kWrongUse, "mark how? --read, --unread, --star or --unstar");
  if (options.all == options.ids.empty()) return;
  throw Failure(kWrongUse, options.all ? "mark takes numbers of items or --all, not both"
                                       : "mark which? give the numbers of items, or --all");
}

int run(const MarkOptions& options, const Invocation& invocation) {
  checkUse(options);
  bool areKnown = true;
  useArchive(openBaseFolder(invocation.base), [&](NewsArchive& archive) {
    const ItemMark mark = options.mark->mark;
    const std::vector<std::int64_t> changed =
        options.all ? archive.MarkAll(queryOf(options.filter, archive), mark) : archive.MarkItems(options.ids, mark);
    invocation.output.line(counted(changed.size(), "item") + " " + std::string(options.mark->done));
    invocation.output.flush();
    areKnown = knowsAll(options.ids, archive);
  });
  return areKnown ? kDone : kFailed;
}

}  // namespace

Command addMark(CLI::App& app) {
  const auto options = std::make_shared<MarkOptions>();
  CLI::App* mark = declareCommand(app, "mark", "Mark items of the archive");
  mark->add_option("ids", options->ids, "Their numbers, as news and search tell them")->type_name("ID");
  CLI::Option* all = mark->add_flag("--all", options->all, "All items, or all of a feed or category");
  addPlaceOptions(*mark, options->filter);
  for (const char* const place : {"--feed", "--category"}) mark->get_option(place)->needs(all);
  CLI::Option_group* how = mark->add_option_group("mark", "How");
  for (const MarkWord& word : kMarks) {
    how->add_flag_callback(
        word.option, [options, &word] { options->mark = &word; }, word.help);
  }
  how->require_option(0, 1);
  return {mark, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
