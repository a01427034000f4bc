#include "reader/ItemsPane.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Text.h"
#include "reader/FeedsPane.h"
#include "reader/PageParts.h"
#include "reader/ViewQuery.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxTitleCharacters = 300;
constexpr std::size_t kMaxBytes = 48000;

/// A page of the list and what it is called.
struct List {
  ItemQuery query;
  ItemPage page;
  std::string title;
  const ShownFeed* feed = nullptr;  ///< if it is of one feed and that has been looked up
};

ItemPage itemsOf(PageData& data, const ItemQuery& query) {
  return data.context.archives.use([&query](NewsArchive& archive) { return archive.Items(query); });
}

std::string placeOf(PageData& data, const List& list) {
  const View& view = data.view;
  if (view.feed != 0) {
    if (list.feed) return nameOf(list.feed->own);
    return list.page.items.empty() ? "A feed that is gone" : nameOf(list.page.items.front().feedName);
  }
  return view.category.empty() ? "" : nameOf(view.category);
}

std::string titleOf(PageData& data, const List& list) {
  const View& view = data.view;
  const std::string place = placeOf(data, list);
  if (!view.words.empty()) return "Search: " + nameOf(view.words) + (place.empty() ? "" : " in " + place);
  if (!place.empty()) return place;
  return view.onlyStarred ? "Starred" : view.onlyUnread ? "Unread" : "All items";
}

/// Where the list is empty its feed says why; feeds are looked up for nothing else.
List listFor(PageData& data) {
  List list;
  list.query = queryOf(data.view, [&data] { return data.subscriptions(); });
  list.page = itemsOf(data, list.query);
  const bool needsFeed = data.feedsAtHand() || list.page.items.empty();
  if (data.view.feed != 0 && needsFeed) list.feed = data.feed(data.view.feed);
  list.title = titleOf(data, list);
  return list;
}

void writeStarButton(HtmlWriter& html, const ArchivedItem& item) {
  html.open("button", {{"class", "star"},
                       {"form", item.isStarred ? "unstar" : "star"},
                       {"name", "ids"},
                       {"value", std::to_string(item.details.id)},
                       {"aria-label", "Star"},
                       {"aria-pressed", item.isStarred ? "true" : "false"}});
  writeIcon(html, "star");
  html.close("button");
}

void writeRow(HtmlWriter& html, const PageData& data, const ArchivedItem& item) {
  View target = data.view;
  target.item = item.details.id;
  target.aside = Aside::Article;
  target.address.clear();
  html.open("li", {{"id", "i" + std::to_string(item.details.id)}, {"class", item.isRead ? "row" : "row unread"}});
  html.open("a", {{"href", addressOf(target)}, {"aria-current", valueIf(item.details.id == data.view.item, "true")}});
  html.add("<span class=\"unseen new\">Unread: </span>");
  html.element("span", {{"class", "title"}, {"dir", "auto"}}, titleOf(item, kMaxTitleCharacters));
  html.add("<span class=\"by\">").element("bdi", {}, nameOf(item.feedName));
  writeTime(html, item.item.date, data.now);
  html.add("</span></a>");
  writeStarButton(html, item);
  html.add("</li>");
}

/// Writes the rows, and shortens the page if they become too long.
void writeRows(HtmlWriter& html, PageData& data, List& list) {
  HtmlWriter rows;
  std::size_t count = 0;
  for (; count < list.page.items.size() && (count == 0 || rows.size() < kMaxBytes); ++count) {
    writeRow(rows, data, list.page.items[count]);
  }
  if (count < list.page.items.size()) {
    list.query.limit = static_cast<std::int32_t>(count);
    list.page = itemsOf(data, list.query);
  }
  View here = listOf(data.view);
  here.before = data.view.before;
  html.open("ol", {{"class", "rows"}, {"data-page", addressOf(here)}});
  html.add(rows).close("ol");
}

void writeSearch(HtmlWriter& html, const PageData& data) {
  const View& view = data.view;
  html.add("<form class=\"search\" role=\"search\" action=\"./\">");
  if (view.feed != 0) writeHidden(html, "feed", std::to_string(view.feed));
  if (!view.category.empty()) writeHidden(html, "category", view.category);
  if (view.onlyUnread) writeHidden(html, "unread", "1");
  if (view.onlyStarred) writeHidden(html, "starred", "1");
  const std::string what = view.feed != 0           ? "Search this feed"
                           : !view.category.empty() ? "Search this category"
                           : view.onlyStarred       ? "Search starred items"
                           : view.onlyUnread        ? "Search unread items"
                                                    : "Search all items";
  writeIcon(html, "search");
  html.open("input", {{"type", "search"},
                      {"name", "q"},
                      {"id", "q"},
                      {"value", view.words},
                      {"placeholder", what},
                      {"aria-label", what},
                      {"autocomplete", "off"}});
  html.add("</form>");
}

void writeFilterLink(HtmlWriter& html, const PageData& data, bool onlyUnread, std::string_view text) {
  View target = listOf(data.view);
  target.onlyUnread = onlyUnread;
  html.element(
      "a", {{"href", addressOf(target)}, {"aria-current", valueIf(data.view.onlyUnread == onlyUnread, "true")}}, text);
}

/// Marks what stands in the list from its first item on, so that nothing is marked that came in meanwhile.
void writeMarkAll(HtmlWriter& html, PageData& data, const List& list) {
  if (list.page.items.empty()) return;
  ItemQuery query = list.query;
  query.limit = 1;
  const std::optional<std::int64_t> from = itemsOf(data, query).next;
  const View& view = data.view;
  openForm(html, data, "mark", "mark-all");
  writeHidden(html, "all", "1");
  if (view.feed != 0) writeHidden(html, "feed", std::to_string(view.feed));
  if (!view.category.empty()) writeHidden(html, "category", view.category);
  if (view.onlyUnread) writeHidden(html, "unread", "1");
  if (view.onlyStarred) writeHidden(html, "starred", "1");
  if (!view.words.empty()) writeHidden(html, "q", view.words);
  writeHidden(html, "first", std::to_string(list.page.items.front().details.id));
  if (from) writeHidden(html, "from", std::to_string(*from));
  html.add("<button name=\"mark\" value=\"read\">");
  writeIcon(html, "check");
  html.add("Mark all as read</button></form>");
}

void writeHead(HtmlWriter& html, PageData& data, const List& list) {
  html.add("<div class=\"head\"><div class=\"line\">");
  writeLink(html, asideView(data.view, Aside::Feeds), "back", "Feeds");
  html.add("<h2 id=\"list-title\" tabindex=\"-1\">").element("bdi", {}, list.title).add("</h2>");
  const std::string url = list.feed ? list.feed->own.url : std::string();
  if (!url.empty()) {
    html.open("a", {{"class", "tool"},
                    {"href", addressOf(subscriptionView(data.view, url))},
                    {"title", "About this feed"},
                    {"aria-label", "About this feed"}});
    writeIcon(html, "settings");
    html.close("a");
  }
  html.add("</div>");
  html.element("p", {{"class", "counts"}}, data.feedsAtHand() ? countsOf(data) : "");
  writeSearch(html, data);
  html.add("<div class=\"line filters\"><div class=\"switch\">");
  writeFilterLink(html, data, false, "All");
  writeFilterLink(html, data, true, "Unread");
  html.add("</div>");
  writeMarkAll(html, data, list);
  html.add("</div></div>");
}

void writeFailure(HtmlWriter& html, const PageData& data, const List& list) {
  if (!list.feed || !list.feed->archived) return;
  const std::string failure = whyItFails(*list.feed->archived);
  if (failure.empty()) return;
  html.add("<p class=\"failure\">");
  writeIcon(html, "warn");
  html.add("<span>This feed fails: ").element("bdi", {}, failure);
  if (!list.feed->own.url.empty()) {
    html.add(" ");
    writeLink(html, subscriptionView(data.view, list.feed->own.url), "", "About this feed");
  }
  html.add("</span></p>");
}

Markup emptyFeedText(const ShownFeed* feed) {
  if (!feed || !feed->archived) return "You have removed this feed.";
  const bool wasHad = feed->archived->lastSuccess != CTime();
  return wasHad ? Markup("This feed has no items.") : Markup("Nothing has come from this feed yet.");
}

void writeEmpty(HtmlWriter& html, PageData& data, const List& list) {
  const View& view = data.view;
  html.add("<div class=\"empty\">");
  View wider = listOf(view);
  if (view.before != INT64_MAX) {
    html.add("<p>Nothing older.</p>");
  } else if (!view.words.empty()) {
    html.add("<p>Nothing found.</p><p>All of the words must be in an item; <kbd>word*</kbd> finds what begins so.</p>");
    if (view.feed != 0 || !view.category.empty() || view.onlyUnread || view.onlyStarred) {
      wider = View();
      wider.words = view.words;
      html.add("<p>");
      writeLink(html, wider, "action", "Search everywhere");
      html.add("</p>");
    }
  } else if (view.onlyStarred) {
    html.add("<p>No stars yet.</p><p>Star what you want to keep: it stays here until you take the star off.</p>");
  } else if (view.onlyUnread) {
    wider.onlyUnread = false;
    html.add("<p>All read.</p><p>");
    writeLink(html, wider, "action", "Show what was read");
    html.add("</p>");
  } else if (view.feed != 0) {
    html.add("<p>").add(emptyFeedText(list.feed)).add("</p>");
  } else if (data.subscriptions().empty()) {
    html.add("<p>Nothing here yet.</p><p>Subscribe to a feed, and its items come here.</p><p>");
    writeLink(html, asideView(View(), Aside::Add), "action", "Add a feed");
    html.add("</p>");
  } else {
    html.add(view.category.empty() ? Markup("<p>Nothing has been fetched yet.</p>")
                                   : Markup("<p>Nothing has come in this category.</p>"));
    writeButtonForm(html, data, "refresh", "all", "1", "Refresh now");
  }
  html.add("</div>");
}

void writeRowForm(HtmlWriter& html, const PageData& data, Markup mark) {
  openForm(html, data, "mark", std::string(mark.text()));
  writeHidden(html, "mark", mark.text());
  html.add("</form>");
}

void writeContinuation(HtmlWriter& html, const PageData& data, const ItemPage& page) {
  if (!page.next) return;
  View older = listOf(data.view);
  older.before = *page.next;
  html.open("a", {{"id", "older"}, {"class", "action"}, {"href", addressOf(older)}}).add("Older items</a>");
}

}  // namespace

void writeItemsPane(HtmlWriter& html, PageData& data) {
  List list = listFor(data);
  data.title = list.title;
  html.open("section", {{"id", "items"}, {"aria-label", "Items: " + list.title}, {"data-title", list.title}});
  writeHead(html, data, list);
  writeFailure(html, data, list);
  if (data.view.before != INT64_MAX) {
    html.open("a", {{"id", "newer"}, {"class", "action"}, {"href", addressOf(listOf(data.view))}});
    html.add("Back to the newest</a>");
  }
  if (list.page.items.empty()) {
    writeEmpty(html, data, list);
  } else {
    writeRowForm(html, data, "star");
    writeRowForm(html, data, "unstar");
    writeRows(html, data, list);
    writeContinuation(html, data, list.page);
  }
  html.add("</section>");
}

}  // namespace quillmoria
