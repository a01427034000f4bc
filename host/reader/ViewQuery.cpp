#include "reader/ViewQuery.h"

#include <set>
#include <string>

namespace quillmoria {

ItemQuery queryOf(const View& view, const SubscriptionSource& subscriptions) {
  ItemQuery query;
  if (view.feed != 0) query.feeds.push_back(view.feed);
  if (!view.category.empty()) {
    std::set<std::string> categories{view.category};
    for (const OwnFeed& feed : subscriptions()) {
      if (feed.category.starts_with(view.category + " / ")) categories.insert(feed.category);
    }
    query.categories.assign(categories.begin(), categories.end());
  }
  query.onlyUnread = view.onlyUnread;
  query.onlyStarred = view.onlyStarred;
  if (!view.words.empty()) query.words = view.words;
  query.before = view.before;
  return query;
}

}  // namespace quillmoria
