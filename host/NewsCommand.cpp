#include "NewsCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Archive.h"
#include "BaseFolder.h"
#include "Failure.h"
#include "ItemFilter.h"
#include "ItemText.h"
#include "Json.h"
#include "Text.h"

namespace quillmoria {
namespace {

constexpr std::int64_t kPageItems = 1000;
constexpr std::int64_t kPageItemsWithText = 20;  // texts may be long
constexpr std::size_t kMaxFeedColumns = 20;

struct ListOptions {
  ItemFilter filter;
  std::vector<std::string> words;  ///< of a search
  std::int64_t limit = 50;
  bool all = false;
  bool json = false;
};

/// Shows items a line each, in columns as wide as those shown so far need.
class ItemTable {
 public:
  explicit ItemTable(Output& output) : output_(output), terminalColumns_(output.columns()) {}

  void show(const std::vector<ArchivedItem>& items) {
    for (const ArchivedItem& item : items) {
      idColumns_ = std::max(idColumns_, std::to_string(item.details.id).size());
      feedColumns_ = std::max(feedColumns_, columnsOf(feedText(item)));
    }
    for (const ArchivedItem& item : items) output_.line(fitting(lineOf(item)));
  }

 private:
  static std::string feedText(const ArchivedItem& item) {
    return shortened(printable(collapsed(item.feedName)), kMaxFeedColumns);
  }

  /// "  17 *+ 2026-11-23 10:00  Example News  Mayor & council agree"
  std::string lineOf(const ArchivedItem& item) const {
    const std::string id = std::to_string(item.details.id);
    const std::string feed = feedText(item);
    return std::string(idColumns_ - id.size(), ' ') + id + (item.isRead ? "  " : " *") +
           (item.isStarred ? "+ " : "  ") + timeText(item.item.date) + "  " + feed +
           std::string(feedColumns_ - columnsOf(feed) + 2, ' ') + printable(titleText(item.item));
  }

  std::string fitting(const std::string& line) const {
    return terminalColumns_ ? shortened(line, *terminalColumns_) : line;
  }

  Output& output_;
  const std::optional<std::size_t> terminalColumns_;
  std::size_t idColumns_ = 0;
  std::size_t feedColumns_ = 0;
};

/// One search of all words. Several in one argument, as the shell leaves of quotes, are words in that order, unless
/// they hold signs of their own.
std::string searchOf(const std::vector<std::string>& arguments) {
  std::string words;
  for (const std::string& argument : arguments) {
    const bool hasSigns = argument.find_first_of("\"*") != std::string::npos || argument.starts_with('-') ||
                          argument.find(" -") != std::string::npos;
    const bool isPhrase = argument.find(' ') != std::string::npos && !hasSigns;
    if (!words.empty()) words += ' ';
    words += isPhrase ? '"' + argument + '"' : argument;
  }
  return words;
}

void adviseOnNothing(const ListOptions& options, NewsArchive& archive) {
  if (isUnfilled(archive)) return complain(kUnfilledAdvice);
  if (!options.words.empty()) {
    return complain("nothing found: try fewer words, or their beginnings, as in park*, and fewer restrictions");
  }
  complain(options.filter.onlyUnread
               ? "nothing unread: quillmoria pull fetches news, and without --unread all is listed"
               : "no such news: quillmoria pull fetches some, or list with fewer restrictions");
}

void list(const ListOptions& options, NewsArchive& archive, Output& output) {
  ItemQuery query = queryOf(options.filter, archive);
  if (!options.words.empty()) query.words = searchOf(options.words);
  query.withText = options.json;
  ItemTable table(output);
  std::int64_t left = options.all ? std::numeric_limits<std::int64_t>::max() : options.limit;
  bool isFound = false;
  for (std::optional<std::int64_t> next = query.before; next && left > 0;) {
    query.before = *next;
    query.limit = static_cast<std::int32_t>(std::min(left, options.json ? kPageItemsWithText : kPageItems));
    const ItemPage page = archive.Items(query);
    if (options.json) {
      for (const ArchivedItem& item : page.items) output.line(archivedItemAsJson(item));
    } else {
      table.show(page.items);
    }
    isFound = isFound || !page.items.empty();
    left -= static_cast<std::int64_t>(page.items.size());
    next = page.next;
    if (next && left <= 0 && !options.json) output.line("... and more: --limit N or --all");
  }
  output.flush();
  if (!isFound) adviseOnNothing(options, archive);
}

int run(const ListOptions& options, const Invocation& invocation) {
  useArchive(openBaseFolder(invocation.base), [&](NewsArchive& archive) { list(options, archive, invocation.output); });
  return kDone;
}

Command declareList(CLI::App& list, const std::shared_ptr<ListOptions>& options) {
  addFilterOptions(list, options->filter);
  CLI::Option* all = list.add_flag("--all", options->all, "List all of them");
  list.add_option("--limit", options->limit, "List up to N items")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{std::numeric_limits<std::int32_t>::max()}))
      ->capture_default_str()
      ->excludes(all);
  list.add_flag("--json", options->json, "Print one line of JSON per item");
  return {&list, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace

Command addNews(CLI::App& app) {
  return declareList(*declareCommand(app, "news", "List the news of the archive, the newest first"),
                     std::make_shared<ListOptions>());
}

Command addSearch(CLI::App& app) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* search = declareCommand(app, "search", "List the news that have the words, the newest first");
  search
      ->add_option("words", options->words,
                   "All of them; word* for all that begin so, -word, after --, for news without it")
      ->required()
      ->type_name("WORDS");
  return declareList(*search, options);
}

}  // namespace quillmoria
