#include "reader/ArticlePane.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Browser.h"
#include "ItemText.h"
#include "Text.h"
#include "WebAddress.h"
#include "reader/ArticleFrame.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxTitleCharacters = 2000;
constexpr std::size_t kLongTitleBytes = 160;
constexpr std::size_t kMaxAuthorCharacters = 300;
constexpr std::size_t kMaxCategories = 20;
constexpr std::size_t kMaxCategoryCharacters = 60;
constexpr std::size_t kMaxEnclosureBytes = 16000;
constexpr std::size_t kMaxAddressCharacters = 300;

std::string idOf(const ArchivedItem& item) { return std::to_string(item.details.id); }

void writeMarkButton(HtmlWriter& html, const PageData& data, const ArchivedItem& item, Markup mark, Markup icon,
                     Markup text, bool isPressed) {
  openForm(html, data, "mark");
  writeHidden(html, "ids", idOf(item));
  html.open("button",
            {{"class", isPressed ? "tool pressed" : "tool"}, {"name", "mark"}, {"value", std::string(mark.text())}});
  writeIcon(html, icon);
  html.add("<span>").add(text).add("</span></button></form>");
}

/// What can be done with the item. The script puts its buttons' new states in their place.
void writeTools(HtmlWriter& html, const PageData& data, const ArchivedItem& item) {
  html.add("<div class=\"tools\">");
  writeWayBack(html, data);
  if (item.isStarred) {
    writeMarkButton(html, data, item, "unstar", "star", "Starred", true);
  } else {
    writeMarkButton(html, data, item, "star", "star", "Star", false);
  }
  if (item.isRead) {
    writeMarkButton(html, data, item, "unread", "unread", "Mark as unread", false);
  } else {
    writeMarkButton(html, data, item, "read", "check", "Mark as read", false);
  }
  if (const std::optional<std::string> link = browserAddress(item.item.link)) {
    html.open(
        "a",
        {{"class", "tool"}, {"id", "original"}, {"href", *link}, {"target", "_blank"}, {"rel", "noopener noreferrer"}});
    writeIcon(html, "out");
    html.add("<span>Open original</span></a>");
  }
  html.add("</div>");
}

void writeTitle(HtmlWriter& html, const PageData& data, const ArchivedItem& item) {
  html.add("<header>").open("p", {{"class", "by"}});
  html.open("a", {{"href", addressOf(feedView(View(), item.feedId))}});
  html.element("bdi", {}, nameOf(item.feedName)).add("</a>");
  if (const std::string author = lineOf(toUtf8(item.item.creatorW), kMaxAuthorCharacters); !author.empty()) {
    html.element("bdi", {{"class", "author"}}, author);
  }
  writeTime(html, item.item.date, data.now);
  html.add("</p>");
  const std::string title = titleOf(item, kMaxTitleCharacters);
  html.open("h2", {{"id", "article-title"},
                   {"class", valueIf(title.size() > kLongTitleBytes, "long")},
                   {"tabindex", "-1"},
                   {"dir", "auto"}});
  // Not in a "bdi", which would hide its direction from the heading.
  const std::optional<std::string> link = browserAddress(item.item.link);
  if (link) html.open("a", {{"href", *link}, {"target", "_blank"}, {"rel", "noopener noreferrer"}});
  html.text(title);
  if (link) html.close("a");
  html.add("</h2></header>");
}

void writeImagesLine(HtmlWriter& html, const PageData& data, const ArchivedItem& item) {
  if (data.context.withImages || !hasRemoteImages(item)) return;
  html.add("<div class=\"images\"><span>Images are not loaded.</span>");
  writeButtonForm(html, data, "images", "on", "1", "Load images");
  html.add("</div>");
}

void writeFrame(HtmlWriter& html, const ArchivedItem& item) {
  html.open("iframe", {{"id", "text"},
                       {"title", "Text of the article"},
                       {"src", "article?id=" + idOf(item)},
                       {"sandbox", "allow-same-origin allow-popups allow-popups-to-escape-sandbox"}});
  html.add("</iframe>");
}

void writePlayer(HtmlWriter& html, const std::string& address, Markup element) {
  html.open(element, {{"src", address}, {"preload", "none"}, {"controls", ""}}).close(element);
}

void writeEnclosure(HtmlWriter& html, const Enclosure& enclosure) {
  html.add("<li>");
  const std::optional<std::string> address = browserAddress(enclosure.url);
  if (address && enclosure.type.starts_with("audio/")) writePlayer(html, *address, "audio");
  if (address && enclosure.type.starts_with("video/")) writePlayer(html, *address, "video");
  const std::string title = lineOf(enclosure.title, kMaxCategoryCharacters);
  const std::string text = lineOf(enclosureText(enclosure), kMaxAddressCharacters);
  writeWayOut(html, enclosure.url, "", title.empty() ? text : title + ": " + text);
  html.add("</li>");
}

void writeEnclosures(HtmlWriter& html, const ArchivedItem& item) {
  const auto& enclosures = item.details.enclosures;
  if (enclosures.empty()) return;
  html.add("<h3>Enclosed</h3><ul class=\"enclosures\">");
  const std::size_t start = html.size();
  std::size_t count = 0;
  for (; count < enclosures.size() && html.size() - start < kMaxEnclosureBytes; ++count) {
    writeEnclosure(html, enclosures[count]);
  }
  if (count < enclosures.size()) {
    html.add("<li>And ").text(std::to_string(enclosures.size() - count)).add(" more: see the original.</li>");
  }
  html.add("</ul>");
}

void writeFoot(HtmlWriter& html, const ArchivedItem& item) {
  html.add("<footer>");
  if (browserAddress(item.details.commentsUrl)) {
    html.add("<p>");
    writeWayOut(html, item.details.commentsUrl, "", "Comments");
    html.add("</p>");
  }
  if (browserAddress(item.details.sourceUrl) || !item.details.sourceTitle.empty()) {
    html.add("<p>From ");
    const std::string source = nameOf(item.details.sourceTitle);
    writeWayOut(html, item.details.sourceUrl, "", source.empty() ? nameOf(item.details.sourceUrl) : source);
    html.add("</p>");
  }
  const auto& categories = item.details.categories;
  if (!categories.empty()) {
    html.add("<ul class=\"tags\" aria-label=\"Categories\">");
    for (std::size_t i = 0; i < std::min(categories.size(), kMaxCategories); ++i) {
      html.add("<li>").element("bdi", {}, lineOf(categories[i], kMaxCategoryCharacters)).add("</li>");
    }
    html.add("</ul>");
  }
  html.add("</footer>");
}

void writeItem(HtmlWriter& html, PageData& data, const ArchivedItem& item) {
  data.title = titleOf(item, kMaxAuthorCharacters);
  html.open("section", {{"id", "article"},
                        {"class", "item"},
                        {"aria-labelledby", "article-title"},
                        {"data-title", data.title},
                        {"data-item", idOf(item)},
                        {"data-unread", flag(!item.isRead)},
                        {"data-starred", flag(item.isStarred)}});
  writeTools(html, data, item);
  html.add("<article>");
  writeTitle(html, data, item);
  writeImagesLine(html, data, item);
  writeFrame(html, item);
  writeEnclosures(html, item);
  writeFoot(html, item);
  html.add("</article></section>");
}

void writeUnknown(HtmlWriter& html, PageData& data) {
  openThirdPane(html, data, "empty", "Not found");
  writeWayBack(html, data);
  html.add(
      "<h2 id=\"article-title\" tabindex=\"-1\">There is no such item</h2>"
      "<p>Its feed has been removed, or it was old and has been cleared away. Choose another from the "
      "list.</p></section>");
}

void writeNothingChosen(HtmlWriter& html, PageData& data) {
  openThirdPane(html, data, "idle", "");
  html.add(
      "<h2 id=\"article-title\" class=\"unseen\" tabindex=\"-1\">No item is open</h2>"
      "<p>Choose an item to read.</p>"
      "<p class=\"keys\"><kbd>j</kbd> opens the next one, <kbd>?</kbd> shows all keys.</p></section>");
}

void writeWelcome(HtmlWriter& html, PageData& data) {
  openThirdPane(html, data, "welcome", "Welcome");
  html.add(
      "<h2 id=\"article-title\" tabindex=\"-1\">Welcome to Quillmoria</h2>"
      "<p class=\"lead\">News from the sites you choose, in one place, with nobody in between. Begin in one of three "
      "ways.</p><ol class=\"steps\"><li><h3>Add an address</h3><p>Of a feed, or of any site you like to read: its feed "
      "is found.</p>");
  openForm(html, data, "add");
  html.add(
      "<div class=\"fields\"><label>Address <input name=\"url\" inputmode=\"url\" autocomplete=\"url\" required "
      "placeholder=\"example.org\"></label><button class=\"main\">Add</button></div></form></li>"
      "<li><h3>Import a list</h3><p>From another reader, as an OPML file: most can export one.</p>");
  openForm(html, data, "import");
  html.add(
      "<div class=\"fields\"><label>File <input type=\"file\" name=\"list\" required "
      "accept=\".opml,.xml,text/xml,application/xml,text/x-opml\"></label><button>Import</button></div></form></li>"
      "<li><h3>Look around first</h3><p>A few sample feeds come with the program.</p>");
  writeButtonForm(html, data, "samples", "samples", "1", "Try the sample feeds");
  html.add("</li></ol></section>");
}

}  // namespace

void openThirdPane(HtmlWriter& html, PageData& data, Markup cssClass, std::string_view title) {
  if (!title.empty()) data.title = title;
  html.open("section", {{"id", "article"},
                        {"class", std::string(cssClass.text())},
                        {"aria-labelledby", "article-title"},
                        {"data-title", std::string(title)}});
}

void writeWayBack(HtmlWriter& html, const PageData& data) {
  View list = listOf(data.view);
  list.before = data.view.before;
  html.open("a", {{"class", "tool close"}, {"id", "close"}, {"href", addressOf(list)}});
  writeIcon(html, "left");
  html.add("<span>Back</span></a>");
}

void writeArticlePane(HtmlWriter& html, PageData& data) {
  if (data.item()) return writeItem(html, data, *data.item());
  if (data.view.item != 0) return writeUnknown(html, data);
  if (data.subscriptions().empty()) {
    const bool isNew = data.context.archives.use([](NewsArchive& archive) {
      ItemQuery any;
      any.limit = 1;
      return archive.Items(any).items.empty();
    });
    if (isNew) return writeWelcome(html, data);
  }
  writeNothingChosen(html, data);
}

}  // namespace quillmoria
