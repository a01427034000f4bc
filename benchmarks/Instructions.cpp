#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "benchmarks/Documents.h"
#include "feed/FeedParseState.h"
#include "modern/archive/FeedArchive.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/ParseFeed.h"
#include "store/ItemMatching.h"
#include "store/NewsItemCache.h"
#include "support/TemporaryFolder.h"

namespace {

constexpr std::size_t kItems = 500;

/// What is to be counted goes through here, whose name the counter is given.
extern "C" [[gnu::noinline]] void counted(const std::function<void()>& work) { work(); }

std::unique_ptr<RSSObject> parsed(const DocumentFormat& format, bool isCounted) {
  const std::string document = documentOfItems(format, kItems);
  auto feed = std::make_unique<RSSObject>(RSSObject::ChannelStruct{}, nullptr, -1);
  const auto parse = [&] { FeedParseState(*feed).parse(document); };
  isCounted ? counted(parse) : parse();
  feed->channel.feedName = "feed";
  return feed;
}

/// A parse by the modern rules, `work` without its "modern-"; with `fault`, of a document that is broken at its end.
bool parseModern(std::string_view work, std::string_view fault) {
  for (const DocumentFormat& format : kDocumentFormats) {
    if (work != format.name) continue;
    std::string document = documentOfItems(format, kItems);
    if (!fault.empty()) document.replace(document.rfind("</"), std::string::npos, fault);
    std::unique_ptr<RSSObject> feed;
    counted([&] { feed = ParseFeed(document, "", "http://example.org/"); });
    return feed->itemCount == kItems && feed->GetDetails()->wasRepaired == !fault.empty();
  }
  return false;
}

bool match() {
  const auto cached = parsed(kDocumentFormats[0], false);
  const auto fresh = parsed(kDocumentFormats[0], false);
  counted([&] { quillmoria::matchItems(*fresh, *cached); });
  return fresh->newItemCount == 0;
}

bool store() {
  const TemporaryBaseFolder base;
  const auto feed = parsed(kDocumentFormats[0], false);
  std::int32_t stored = 0;
  counted([&] { stored = NewsItemCache().StoreFeed(base.name(), feed.get(), 4, ""); });
  return stored == 1;
}

bool settle(quillmoria::FeedArchive& archive, bool isCounted) {
  const std::string document = documentOfItems(kDocumentFormats[0], kItems);
  const std::unique_ptr<RSSObject> feed = ParseFeed(document, "", "http://example.org/");
  quillmoria::FetchReport report;
  report.outcome = Outcome::Fetched;
  bool isKept = false;
  const auto keep = [&] { isKept = archive.settle("http://example.org/", report, *feed); };
  isCounted ? counted(keep) : keep();
  return isKept && feed->itemCount == kItems;
}

/// Stores items in an empty archive, or finds them all there.
bool settle(bool areKnown) {
  const TemporaryBaseFolder base;
  quillmoria::FeedArchive archive(base.name());
  archive.keepPicture("", {});  // makes the archive
  return (!areKnown || settle(archive, false)) && settle(archive, true);
}

bool load() {
  const TemporaryBaseFolder base;
  NewsItemCache().StoreFeed(base.name(), parsed(kDocumentFormats[0], false).get(), 4, "");
  std::unique_ptr<RSSObject> feed;
  counted([&] { feed.reset(NewsItemCache().LoadFeed(NewsItemCache::filePath(base.name(), "feed"))); });
  return feed->itemCount == kItems;
}

bool run(std::string_view work) {
  for (const DocumentFormat& format : kDocumentFormats) {
    if (work == format.name) return parsed(format, true)->itemCount == kItems;
  }
  constexpr std::string_view kModern = "modern-";
  if (work.starts_with(kModern)) return parseModern(work.substr(kModern.size()), "");
  if (work == "broken") return parseModern("rss2", "&</broken>");
  if (work == "match") return match();
  if (work == "store") return store();
  if (work == "archive-match") return settle(true);
  if (work == "archive-store") return settle(false);
  return work == "load" && load();
}

}  // namespace

/// instructions WORK: does WORK once with 500 items: rss2, rss1 or atom for a classic parse, modern-rss2 and so on for
/// a modern one, broken for one of a document that is read twice, match, store or load by the cache file, archive-match
/// or archive-store.
int main(int argc, char** argv) { return argc == 2 && run(argv[1]) ? 0 : 1; }
