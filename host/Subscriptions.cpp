#include "Subscriptions.h"

#include <algorithm>
#include <cstdint>

#include "Text.h"
#include "WebAddress.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxNameBytes = 200;  // a file name has at most 255, the engine's and our additions included

/// A slash would lead the cache file into a subfolder, and "." and ".." name no file.
std::string asFileName(std::string_view text) {
  std::string name = collapsed(firstBytes(collapsed(printable(text)), kMaxNameBytes));
  std::replace(name.begin(), name.end(), '/', '_');
  return name == "." || name == ".." ? name + "_" : name;
}

std::string_view withoutScheme(std::string_view url) {
  const std::size_t end = url.find("://");
  return end == std::string_view::npos ? url : url.substr(end + 3);
}

/// The name of the file that the engine makes of a feed's name.
std::string cacheFileName(std::string name) {
  constexpr std::string_view kReplaced = "\"\\><:*?|";
  std::replace_if(
      name.begin(), name.end(), [&](char c) { return kReplaced.find(c) != std::string_view::npos; }, '_');
  return name;
}

}  // namespace

std::string Subscriptions::add(std::string_view category, std::string_view name, const std::string& url) {
  std::string fileName = asFileName(name);
  if (fileName.empty()) fileName = asFileName(withoutScheme(withoutUserInformation(url)));

  RSSObject::NewsFeed feed;
  feed.category = printable(category);
  feed.name = nameOfItsOwn(std::move(fileName));
  feed.url = url;
  feed.enabled = 1;
  ++feedCount_;
  return feedsOf(feed.category).emplace_back(std::move(feed)).name;
}

bool Subscriptions::isFree(std::string_view name) const {
  const std::string fileName = asFileName(name);
  return !fileName.empty() && !fileNames_.contains(cacheFileName(fileName));
}

RSSObject::CategoryHolderStruct Subscriptions::holder() {
  records_.clear();
  for (std::size_t i = 0; i < categories_.size(); ++i) {
    RSSObject::NewsFeedsPerCategoryStruct& record = records_.emplace_back();
    record.category = categories_[i];
    record.categoryId = static_cast<std::int32_t>(i);
    record.feeds = feeds_[i].data();
    record.feedCount = static_cast<std::int32_t>(feeds_[i].size());
  }
  RSSObject::CategoryHolderStruct holder;
  holder.categories = records_.data();
  holder.categoryCount = static_cast<std::int32_t>(records_.size());
  return holder;
}

std::vector<const RSSObject::NewsFeed*> Subscriptions::inPullOrder() const {
  std::vector<const RSSObject::NewsFeed*> order;
  order.reserve(feedCount_);
  for (const auto& feeds : feeds_) {
    for (const RSSObject::NewsFeed& feed : feeds) order.push_back(&feed);
  }
  return order;
}

std::vector<RSSObject::NewsFeed>& Subscriptions::feedsOf(const std::string& category) {
  const auto [entry, isNew] = categoryIndex_.try_emplace(category, categories_.size());
  if (isNew) {
    categories_.push_back(category);
    feeds_.emplace_back();
  }
  return feeds_[entry->second];
}

std::string Subscriptions::nameOfItsOwn(std::string name) {
  std::string own = name;
  if (!fileNames_.insert(cacheFileName(own)).second) {
    int& number = lastNumber_.try_emplace(cacheFileName(name), 1).first->second;
    do {
      own = name + " (" + std::to_string(++number) + ")";
    } while (!fileNames_.insert(cacheFileName(own)).second);
  }
  return own;
}

}  // namespace quillmoria
