#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "quillmoria/RSSObject.h"

/// Categories of feeds with the arrays behind them.
class Subscriptions {
 public:
  /// Appends a category; each feed is a name and an address.
  Subscriptions& add(const std::string& category, const std::vector<std::pair<std::string, std::string>>& feeds) {
    std::vector<RSSObject::NewsFeed>& list = feeds_.emplace_back();
    for (const auto& [name, url] : feeds) {
      RSSObject::NewsFeed feed;
      feed.category = category;
      feed.name = name;
      feed.url = url;
      feed.enabled = 1;
      list.push_back(feed);
    }
    RSSObject::NewsFeedsPerCategoryStruct entry;
    entry.category = category;
    entry.feeds = list.data();
    entry.feedCount = static_cast<std::int32_t>(list.size());
    categories_.push_back(entry);
    return *this;
  }

  RSSObject::NewsFeed& feed(std::size_t category, std::size_t index) { return feeds_[category][index]; }

  /// What the engine is given; valid until the next add.
  RSSObject::CategoryHolderStruct holder() {
    RSSObject::CategoryHolderStruct holder;
    holder.categories = categories_.data();
    holder.categoryCount = static_cast<std::int32_t>(categories_.size());
    return holder;
  }

 private:
  std::deque<std::vector<RSSObject::NewsFeed>> feeds_;
  std::vector<RSSObject::NewsFeedsPerCategoryStruct> categories_;
};
