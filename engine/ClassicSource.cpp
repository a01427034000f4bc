#include "engine/ClassicSource.h"

#include <exception>
#include <utility>

#include "engine/EngineState.h"
#include "feed/FetchFeed.h"
#include "quillmoria/NewsServer.h"
#include "store/NewsItemCache.h"

namespace quillmoria {
namespace {

/// What stands for a feed whose object cannot be made for want of memory: as after a fetch that an exception has ended.
std::unique_ptr<RSSObject> notFetched(const RSSObject::NewsFeed& feed) {
  RSSObject::ChannelStruct channel;
  channel.feedName = feed.name;
  auto news = std::make_unique<RSSObject>(std::move(channel), nullptr, -1);
  news->category = feed.category;
  news->statusMessage.clear();
  return news;
}

}  // namespace

std::unique_ptr<RSSObject> ClassicSource::fetch(const RSSObject::NewsFeed& feed) {
  try {
    auto news = std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, 0);
    news->baseFolder = state_.baseFolder();
    fetchFeed(*news, feed, "");
    return news;
  } catch (const std::exception&) {
    return notFetched(feed);
  }
}

std::unique_ptr<RSSObject> ClassicSource::fromStore(const RSSObject::NewsFeed& feed) {
  return std::unique_ptr<RSSObject>(NewsItemCache().LoadFeed(NewsItemCache::filePath(state_.baseFolder(), feed.name)));
}

void ClassicSource::settle(RSSObject& news) noexcept {
  if (news.itemCount != -1) NewsServer::matchAndCacheItems(&news);
}

}  // namespace quillmoria
