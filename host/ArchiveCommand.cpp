#include "ArchiveCommand.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "Archive.h"
#include "BaseFolder.h"
#include "Failure.h"
#include "ItemText.h"
#include "Json.h"
#include "Text.h"

namespace quillmoria {
namespace {

struct ArchiveOptions {
  bool check = false;
  bool repair = false;
  std::optional<std::int32_t> keepItems;
  std::optional<std::int32_t> keepDays;
  bool json = false;
};

std::string countedItems(std::int64_t count, std::string_view noun) {
  return counted(static_cast<std::size_t>(count), noun);
}

void setRetention(const ArchiveOptions& options, NewsArchive& archive) {
  if (!options.keepItems && !options.keepDays) return;
  ArchiveRetention retention = archive.Retention();
  retention.itemsPerFeed = options.keepItems.value_or(retention.itemsPerFeed);
  retention.days = options.keepDays.value_or(retention.days);
  archive.SetRetention(retention);
}

void showRepair(const ArchiveRepair& repair, Output& output) {
  if (repair.damagedFile.empty()) return output.line("it was whole; its words have been indexed anew");
  output.line("repaired: " + countedItems(repair.feeds, "feed") + " and " + countedItems(repair.items, "item") +
              " saved; the damaged archive is now " + repair.damagedFile);
}

void showFigures(const ArchiveReport& report, Output& output) {
  const ArchiveStatistics& figures = report.statistics;
  output.line(countedItems(figures.feeds, "feed") + ", " + countedItems(figures.items, "item") + ": " +
              std::to_string(figures.unread) + " unread, " + std::to_string(figures.starred) + " starred");
  if (figures.items > 0) output.line("from " + timeText(figures.oldest) + " to " + timeText(figures.newest));
  output.line(sizeText(figures.bytes) + ", version " + std::to_string(figures.version));
  output.line("kept: what feeds have, unread and starred items, the newest " +
              countedItems(report.retention.itemsPerFeed, "item") + " of a feed, and those that it had within " +
              countedItems(report.retention.days, "day"));
}

void show(const ArchiveReport& report, Output& output) {
  if (report.repair) showRepair(*report.repair, output);
  showFigures(report, output);
  if (report.problems && report.problems->empty()) output.line("checked: all is well");
}

int run(const ArchiveOptions& options, const Invocation& invocation) {
  const std::string baseFolder = openBaseFolder(invocation.base);
  ArchiveReport report;
  if (options.repair) report.repair = repairArchive(baseFolder);
  useArchive(baseFolder, [&](NewsArchive& archive) {
    setRetention(options, archive);
    if (options.check) report.problems = archive.Check();
    report.statistics = archive.Statistics();
    report.retention = archive.Retention();
  });
  options.json ? invocation.output.line(archiveReportAsJson(report)) : show(report, invocation.output);
  invocation.output.flush();
  if (!report.problems || report.problems->empty()) return kDone;
  for (const std::string& problem : *report.problems) complain(problem);
  complain("the archive is damaged: quillmoria archive --repair saves what can be read");
  return kFailed;
}

}  // namespace

Command addArchive(CLI::App& app) {
  const auto options = std::make_shared<ArchiveOptions>();
  CLI::App* archive = declareCommand(app, "archive", "Show what the archive holds; check, repair or bound it");
  archive->add_flag("--check", options->check, "Read all of it and tell what is wrong with it");
  archive->add_flag("--repair", options->repair,
                    "Make a whole one of what can be read of it, and keep the damaged one");
  const CLI::Range counts(0, std::numeric_limits<std::int32_t>::max());
  archive->add_option("--keep-items", options->keepItems, "Keep the newest N items of a feed from now on")
      ->type_name("N")
      ->check(counts);
  archive->add_option("--keep-days", options->keepDays, "and those that the feed had within D days")
      ->type_name("D")
      ->check(counts);
  archive->add_flag("--json", options->json, "Print one line of JSON");
  return {archive, [options](const Invocation& invocation) { return run(*options, invocation); }};
}

}  // namespace quillmoria
