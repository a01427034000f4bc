#include "modern/FeedObject.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

#include "platform/CFile.h"
#include "platform/CodePage.h"
#include "records/FeedObjectAccess.h"
#include "store/NewsItemCache.h"

namespace quillmoria {
namespace {

/// The file holds only the wide one of twins. Nothing in it tells a full text from a short one, one author from
/// several, or when an item was published from when it was changed or seen first: details of that kind stay unknown.
void completeItem(RSSObject::NewsItemStruct& item) {
  item.title = wideToUtf8(item.titleW);
  item.description = wideToUtf8(item.descriptionW);
}

void completeChannel(RSSObject::ChannelStruct& channel, FeedDetails& details) {
  channel.title = wideToUtf8(channel.titleW);
  channel.description = wideToUtf8(channel.descriptionW);
  details.siteUrl = channel.link;
  details.iconUrl = channel.image.url;
}

}  // namespace

ModernDetails& detailsOf(RSSObject& news) { return static_cast<ModernDetails&>(*FeedObjectAccess::details(news)); }

ModernDetails& makeDetails(RSSObject& news) {
  auto made = std::make_shared<ModernDetails>();
  ModernDetails& details = *made;
  if (FeedDetails* const former = FeedObjectAccess::details(news)) {
    static_cast<FeedDetails&>(details) = std::move(*former);
  }
  FeedObjectAccess::setDetails(news, std::move(made));
  return details;
}

std::unique_ptr<RSSObject> failedObject(Outcome outcome, std::string text) {
  auto news = std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, -1);
  news->statusMessage = std::move(text);
  makeDetails(*news).outcome = outcome;
  return news;
}

std::unique_ptr<RSSObject> cachedObject(const std::string& baseFolder, const std::string& feedName, ItemStatus status) {
  std::unique_ptr<RSSObject> news = NewsItemCache::ReadFeed(NewsItemCache::filePath(baseFolder, feedName));
  ModernDetails& details = makeDetails(*news);
  if (news->itemCount < 0) return news;
  completeChannel(news->channel, details);
  details.items.resize(static_cast<std::size_t>(news->itemCount));
  for (RSSObject::NewsItemStruct& item : std::span(news->items, static_cast<std::size_t>(news->itemCount))) {
    completeItem(item);
    item.status = status;
  }
  return news;
}

std::optional<FileStamp> cacheStamp(const std::string& baseFolder, const std::string& feedName) {
  try {
    CFile file;
    if (!file.Open(NewsItemCache::filePath(baseFolder, feedName), CFile::modeRead)) return std::nullopt;
    return FileStamp{file.GetModificationTime(), file.GetLength()};
  } catch (const CFileException&) {
    return std::nullopt;
  }
}

void moveObject(RSSObject& target, RSSObject& source) {
  std::swap(target.items, source.items);
  std::swap(target.channelPicture, source.channelPicture);
  target.itemCount = std::exchange(source.itemCount, -1);
  target.newItemCount = source.newItemCount;
  target.channel = std::move(source.channel);
  target.statusMessage = std::move(source.statusMessage);
  target.parsedItems = std::move(source.parsedItems);
  target.category = std::move(source.category);
  target.baseFolder = std::move(source.baseFolder);
  FeedObjectAccess::moveDetails(target, source);
}

}  // namespace quillmoria
