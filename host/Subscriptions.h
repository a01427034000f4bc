#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// What is subscribed: feeds by category, in the form in which the engine takes them.
///
///     Subscriptions subscriptions;
///     subscriptions.add("Technology", "Example News", "http://example.org/news.rss");
///     server->SetCategories(subscriptions.holder());
///
/// The engine names a feed's cache file after the feed, so every feed gets a name that is its own and fits a file.
class Subscriptions {
 public:
  /// Adds a feed at the end of `category`. Its name is `name` as a file can have it (of at most 200 bytes, without
  /// slashes), or its address without user information if that is empty; a name that would share another
  /// feed's cache file gets a number. Returns the name.
  std::string add(std::string_view category, std::string_view name, const std::string& url);

  /// Whether a feed added under `name` would keep it, without a number.
  bool isFree(std::string_view name) const;

  bool empty() const { return feedCount_ == 0; }

  /// The categories for the engine. They stay valid until the next `add`.
  RSSObject::CategoryHolderStruct holder();

  /// The feeds in the order in which a pull delivers them. They stay valid until the next `add`.
  std::vector<const RSSObject::NewsFeed*> inPullOrder() const;

 private:
  std::vector<RSSObject::NewsFeed>& feedsOf(const std::string& category);
  std::string nameOfItsOwn(std::string name);

  std::size_t feedCount_ = 0;
  std::vector<std::string> categories_;
  std::vector<std::vector<RSSObject::NewsFeed>> feeds_;  ///< one entry per category
  std::vector<RSSObject::NewsFeedsPerCategoryStruct> records_;

  // By what strangers write, who could make it collide in a hash table.
  std::map<std::string, std::size_t> categoryIndex_;
  std::set<std::string> fileNames_;
  std::map<std::string, int> lastNumber_;  ///< by the file name that was asked for
};

}  // namespace quillmoria
