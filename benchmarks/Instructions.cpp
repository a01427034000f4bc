#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "benchmarks/Documents.h"
#include "feed/FeedParseState.h"
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
  if (work == "match") return match();
  if (work == "store") return store();
  return work == "load" && load();
}

}  // namespace

/// instructions WORK: does WORK (rss2, rss1 or atom for a parse, match, store or load) once with 500 items.
int main(int argc, char** argv) { return argc == 2 && run(argv[1]) ? 0 : 1; }
