#include "records/Footprint.h"

#include <algorithm>
#include <span>

#include "quillmoria/NewsDetails.h"

namespace quillmoria {
namespace {

using Item = RSSObject::NewsItemStruct;

std::size_t bytesOf(const std::string& text) { return text.capacity(); }
std::size_t bytesOf(const std::u16string& text) { return text.capacity() * sizeof(char16_t); }

std::size_t bytesOf(std::span<const Item> items) {
  std::size_t bytes = items.size_bytes();
  for (const Item& item : items) {
    for (const std::string Item::*text : {&Item::title, &Item::link, &Item::description}) bytes += bytesOf(item.*text);
    for (const std::u16string Item::*text : {&Item::titleW, &Item::descriptionW, &Item::creatorW, &Item::guidW}) {
      bytes += bytesOf(item.*text);
    }
  }
  return bytes;
}

std::size_t bytesOf(const FeedDetails* details) {
  if (!details) return 0;
  std::size_t bytes = sizeof *details;
  for (const ItemDetails& item : details->items) {
    bytes += sizeof item + bytesOf(item.summaryW) + bytesOf(item.contentW);
    for (const auto* texts : {&item.authors, &item.categories}) {
      for (const std::string& text : *texts) bytes += sizeof text + bytesOf(text);
    }
    for (const Enclosure& enclosure : item.enclosures) bytes += sizeof enclosure + bytesOf(enclosure.url);
  }
  return bytes;
}

std::size_t bytesOf(const CPicture* picture) {
  constexpr std::size_t kBytesPerPixel = 4;
  if (!picture || !picture->picture) return 0;
  return kBytesPerPixel * static_cast<std::size_t>(picture->picture->width()) *
         static_cast<std::size_t>(picture->picture->height());
}

}  // namespace

std::size_t footprint(const RSSObject& news) {
  const RSSObject::ChannelStruct& channel = news.channel;
  return sizeof news + bytesOf(std::span(news.items, static_cast<std::size_t>(std::max(news.itemCount, 0)))) +
         bytesOf(std::span(news.parsedItems)) + bytesOf(channel.title) + bytesOf(channel.titleW) +
         bytesOf(channel.description) + bytesOf(channel.descriptionW) + bytesOf(news.channelPicture) +
         bytesOf(news.GetDetails());
}

}  // namespace quillmoria
