#include "modern/FeedObject.h"

#include <utility>

#include "records/FeedObjectAccess.h"

namespace quillmoria {
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
