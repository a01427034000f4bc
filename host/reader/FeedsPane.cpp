#include "reader/FeedsPane.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "FeedWalk.h"
#include "Text.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

// Beyond so many feeds only the chosen category shows its own.
constexpr std::size_t kMaxFeedsOfOpenTree = 200;
constexpr std::size_t kMaxRows = 300;
constexpr std::size_t kMaxBytes = 64000;

/// What stands before the categories.
struct Place {
  Markup label;
  Markup icon;
  bool onlyUnread;
  bool onlyStarred;
};

constexpr Place kPlaces[] = {
    {"All items", "all", false, false}, {"Unread", "unread", true, false}, {"Starred", "star", false, true}};

/// A category and what is in it; the first of a tree holds the whole.
struct Category {
  std::string path;  ///< "News / Europe"
  std::string label;
  std::vector<std::size_t> inner{};
  std::vector<const ShownFeed*> feeds{};
  std::int64_t unread = 0;  ///< of those below as well
};

class CategoryTree {
 public:
  explicit CategoryTree(const std::vector<ShownFeed>& feeds) {
    for (const ShownFeed& feed : feeds) {
      if (feed.own.url.empty()) continue;
      std::size_t place = 0;
      const std::int64_t unread = feed.archived ? feed.archived->unreadCount : 0;
      for (const std::string& label : pathOf(feed.own.category)) {
        place = innerOf(place, label);
        categories_[place].unread += unread;
      }
      categories_[place].feeds.push_back(&feed);
    }
  }

  const Category& whole() const { return categories_.front(); }
  const Category& at(std::size_t place) const { return categories_[place]; }

 private:
  std::size_t innerOf(std::size_t outer, const std::string& label) {
    const std::string path = categories_[outer].path.empty() ? label : categories_[outer].path + " / " + label;
    const auto [entry, isNew] = places_.try_emplace(path, categories_.size());
    if (isNew) {
      categories_[outer].inner.push_back(categories_.size());
      categories_.push_back({path, label});
    }
    return entry->second;
  }

  std::vector<Category> categories_{{"", ""}};
  std::map<std::string, std::size_t> places_;  ///< in categories_, by path
};

void writeCount(HtmlWriter& html, std::int64_t count, std::string_view what) {
  if (count <= 0) return;
  html.open("span", {{"class", "count"}}).text(std::to_string(count));
  writeUnseen(html, what);
  html.close("span");
}

/// Whether a category is `outer` or below it.
bool isWithin(const std::string& category, const std::string& outer) {
  return category == outer || category.starts_with(outer + " / ");
}

/// Writes the tree until the pane is long enough, and counts what it leaves out.
class TreeWriter {
 public:
  TreeWriter(HtmlWriter& html, PageData& data) : html_(html), data_(data), tree_(data.feeds()) {
    const std::size_t all = data.feeds().size();
    isOpen_ = all <= kMaxFeedsOfOpenTree;
    if (const ShownFeed* const chosen = data.view.feed == 0 ? nullptr : data.feed(data.view.feed)) {
      chosenCategory_ = chosen->own.category;
    } else {
      chosenCategory_ = data.view.category;
    }
  }

  void write() {
    html_.add("<ul class=\"tree\">");
    writeInner(tree_.whole());
    for (const ShownFeed& feed : data_.feeds()) {
      if (feed.own.url.empty()) writeFeed(feed);
    }
    html_.add("</ul>");
    if (omitted_ == 0) return;
    html_.add("<p class=\"more\">And ").text(std::to_string(omitted_));
    html_.add(" more: search for their items, or keep fewer feeds in a category.</p>");
  }

 private:
  bool hasRoom() const { return rows_ < kMaxRows && html_.size() < kMaxBytes; }

  bool isOpen(const Category& category) const { return isOpen_ || isWithin(chosenCategory_, category.path); }

  void writeInner(const Category& category) {
    for (const std::size_t place : category.inner) writeCategory(tree_.at(place));
    for (const ShownFeed* const feed : category.feeds) writeFeed(*feed);
  }

  void writeCategory(const Category& category) {
    if (!hasRoom()) {
      omitted_ += 1;
      return;
    }
    const bool isChosen = data_.view.feed == 0 && data_.view.category == category.path;
    html_.add("<li>").open("a", {{"class", isOpen(category) ? "category open" : "category"},
                                 {"href", addressOf(categoryView(data_.view, category.path))},
                                 {"aria-current", valueIf(isChosen, "page")}});
    writeIcon(html_, "right");
    html_.element("bdi", {}, nameOf(category.label));
    writeCount(html_, category.unread, " unread");
    html_.add("</a>");
    if (isOpen(category)) {
      html_.add("<ul>");
      writeInner(category);
      html_.add("</ul>");
    }
    html_.add("</li>");
  }

  void writeFeed(const ShownFeed& feed) {
    const bool isChosen = feed.archived && feed.archived->id == data_.view.feed;
    if (!hasRoom() && !isChosen) {
      omitted_ += 1;
      return;
    }
    rows_ += 1;
    const View target =
        feed.archived ? feedView(data_.view, feed.archived->id) : subscriptionView(data_.view, feed.own.url);
    html_.add("<li>").open(
        "a", {{"class", "feed"}, {"href", addressOf(target)}, {"aria-current", valueIf(isChosen, "page")}});
    writeBadge(html_, data_, feed.own.url, nameOf(feed.own));
    html_.element("bdi", {}, nameOf(feed.own));
    if (feed.archived) writeState(*feed.archived);
    html_.add("</a></li>");
  }

  void writeState(const ArchivedFeed& feed) {
    if (const std::string failure = whyItFails(feed); !failure.empty()) {
      html_.open("span", {{"class", "fails"}, {"title", failure}});
      writeIcon(html_, "warn");
      writeUnseen(html_, "fails");
      html_.close("span");
    }
    writeCount(html_, feed.unreadCount, " unread");
  }

  HtmlWriter& html_;
  PageData& data_;
  const CategoryTree tree_;
  bool isOpen_ = false;
  std::string chosenCategory_;
  std::size_t rows_ = 0;
  std::size_t omitted_ = 0;
};

struct Sums {
  std::int64_t items = 0;
  std::int64_t unread = 0;
  std::int64_t starred = 0;
};

/// Of the feeds that a view lists.
Sums sumsOf(const std::vector<ShownFeed>& feeds, const View& view) {
  Sums sums;
  for (const ShownFeed& feed : feeds) {
    if (!feed.archived || (view.feed != 0 && view.feed != feed.archived->id)) continue;
    if (!view.category.empty() && !isWithin(feed.own.category, view.category)) continue;
    sums.items += feed.archived->itemCount;
    sums.unread += feed.archived->unreadCount;
    sums.starred += feed.archived->starredCount;
  }
  return sums;
}

void writePlaces(HtmlWriter& html, const PageData& data, const Sums& sums) {
  const View& view = data.view;
  const bool isPlace = view.feed == 0 && view.category.empty() && view.words.empty();
  html.add("<ul class=\"places\">");
  for (const Place& place : kPlaces) {
    View target;
    target.onlyUnread = place.onlyUnread;
    target.onlyStarred = place.onlyStarred;
    const bool isChosen = isPlace && view.onlyUnread == place.onlyUnread && view.onlyStarred == place.onlyStarred;
    html.add("<li>").open("a", {{"href", addressOf(target)}, {"aria-current", valueIf(isChosen, "page")}});
    writeIcon(html, place.icon);
    html.add("<span>").add(place.label).add("</span>");
    if (place.onlyUnread) writeCount(html, sums.unread, "");
    if (place.onlyStarred) writeCount(html, sums.starred, "");
    html.add("</a></li>");
  }
  html.add("</ul>");
}

/// How the last refresh went.
void writeLastRefresh(HtmlWriter& html, const PageData& data) {
  const RefreshState& refresh = data.context.refresh;
  if (refresh.isRunning || refresh.all == 0) return;
  std::string text = "Last refresh: " + counted(refresh.newItems, "new item");
  if (refresh.failed > 0) text += ", " + counted(refresh.failed, "feed") + " failed";
  html.add("<p class=\"last\">");
  writeLink(html, asideView(data.view, Aside::Refresh), "", text);
  html.add("</p>");
}

}  // namespace

std::string countsOf(PageData& data) {
  const View& view = data.view;
  if (!view.words.empty() || view.onlyStarred) return "";
  const Sums sums = sumsOf(data.feeds(), view);
  return sums.items == 0 ? "" : std::to_string(sums.unread) + " unread of " + std::to_string(sums.items);
}

void writeFeedsPane(HtmlWriter& html, PageData& data) {
  const Sums sums = sumsOf(data.feeds(), View());
  html.open("nav", {{"id", "feeds"},
                    {"aria-label", "Feeds"},
                    {"data-unread", std::to_string(sums.unread)},
                    {"data-counts", countsOf(data)}});
  writePlaces(html, data, sums);
  HtmlWriter tree;
  TreeWriter(tree, data).write();
  html.add(tree);
  writeLastRefresh(html, data);
  html.add("</nav>");
}

}  // namespace quillmoria
