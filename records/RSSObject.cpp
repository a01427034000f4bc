#include "quillmoria/RSSObject.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "quillmoria/StatusTexts.h"

namespace {

std::unique_ptr<RSSObject::NewsItemStruct[]> copyItems(const RSSObject& other) {
  if (!other.items) return nullptr;
  const std::int32_t count = std::max(other.itemCount, 0);
  auto items = std::make_unique<RSSObject::NewsItemStruct[]>(static_cast<std::size_t>(count));
  std::copy_n(other.items, count, items.get());
  return items;
}

}  // namespace

RSSObject::RSSObject(ChannelStruct storedChannel, NewsItemStruct* storedItems, std::int32_t count)
    : items(storedItems), channel(std::move(storedChannel)), itemCount(count) {
  if (count == -1) statusMessage = quillmoria::kStatusNotCached;
}

RSSObject::RSSObject(const RSSObject& other)
    : channel(other.channel),
      itemCount(other.itemCount),
      newItemCount(other.newItemCount),
      statusMessage(other.statusMessage),
      parsedItems(other.parsedItems),
      category(other.category),
      baseFolder(other.baseFolder),
      wasStored_(other.wasStored_),
      details_(other.details_) {
  auto copies = copyItems(other);
  if (other.channelPicture) channelPicture = new CPicture(*other.channelPicture);
  items = copies.release();
}

RSSObject& RSSObject::operator=(const RSSObject& other) {
  RSSObject copy(other);
  std::swap(items, copy.items);
  std::swap(channel, copy.channel);
  std::swap(itemCount, copy.itemCount);
  std::swap(newItemCount, copy.newItemCount);
  std::swap(statusMessage, copy.statusMessage);
  std::swap(parsedItems, copy.parsedItems);
  std::swap(channelPicture, copy.channelPicture);
  std::swap(category, copy.category);
  std::swap(baseFolder, copy.baseFolder);
  std::swap(wasStored_, copy.wasStored_);
  std::swap(details_, copy.details_);
  return *this;
}

RSSObject::~RSSObject() {
  delete[] std::exchange(items, nullptr);
  delete std::exchange(channelPicture, nullptr);
}

RSSObject::NewsItemStruct* RSSObject::getNewsItems() const { return items; }

std::string RSSObject::GetCategory() const { return category; }

CPicture* RSSObject::GetChannelPicture() const { return channelPicture; }

bool RSSObject::WasStored() const { return wasStored_; }

const quillmoria::FeedDetails* RSSObject::GetDetails() const { return details_.get(); }
