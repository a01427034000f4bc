#include "modern/ModernSource.h"

#include <utility>

#include "modern/FetchFeed.h"

namespace quillmoria {

ModernSource::ModernSource(std::string baseFolder) : baseFolder_(std::move(baseFolder)) {}

std::unique_ptr<RSSObject> ModernSource::fetch(const RSSObject::NewsFeed& feed) {
  auto news = std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, -1);
  news->baseFolder = baseFolder_;
  fetchModernFeed(*news, feed, "");
  return news;
}

std::unique_ptr<RSSObject> ModernSource::fromStore(const RSSObject::NewsFeed& feed) { return fetch(feed); }

bool ModernSource::isDue(const RSSObject::NewsFeed&) const { return true; }

void ModernSource::settle(RSSObject&) noexcept {}

void fetchModernFeed(RSSObject& news, RSSObject::NewsFeed, std::string) { news.itemCount = -1; }

}  // namespace quillmoria
