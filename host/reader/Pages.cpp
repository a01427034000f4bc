#include "reader/Pages.h"

#include <algorithm>
#include <optional>
#include <string>

#include "Subscribing.h"
#include "reader/ArticleFrame.h"
#include "reader/ArticlePane.h"
#include "reader/AsidePanes.h"
#include "reader/FeedsPane.h"
#include "reader/HtmlWriter.h"
#include "reader/ItemsPane.h"
#include "reader/PageData.h"
#include "reader/PageParts.h"
#include "reader/StatusPane.h"

namespace quillmoria {
namespace {

constexpr Markup kIcons(
    "<svg hidden><symbol id=\"i-all\" viewBox=\"0 0 24 24\"><path d=\"M4 6h16M4 12h16M4 18h10\"/></symbol>"
    "<symbol id=\"i-unread\" viewBox=\"0 0 24 24\"><circle cx=\"12\" cy=\"12\" r=\"5\"/></symbol>"
    "<symbol id=\"i-star\" viewBox=\"0 0 24 24\"><path d=\"M12 3.5l2.6 5.4 5.9.8-4.3 4.1 1 5.9-5.2-2.8-5.2 2.8 "
    "1-5.9-4.3-4.1 5.9-.8z\"/></symbol>"
    "<symbol id=\"i-check\" viewBox=\"0 0 24 24\"><path d=\"M5 12.5l4.5 4.5L19 7.5\"/></symbol>"
    "<symbol id=\"i-out\" viewBox=\"0 0 24 24\"><path d=\"M14 5h5v5M19 5l-8 8M17 14v5H5V7h5\"/></symbol>"
    "<symbol id=\"i-refresh\" viewBox=\"0 0 24 24\"><path d=\"M19 12a7 7 0 1 1-2-4.9L19 9M19 4v5h-5\"/></symbol>"
    "<symbol id=\"i-add\" viewBox=\"0 0 24 24\"><path d=\"M12 5v14M5 12h14\"/></symbol>"
    "<symbol id=\"i-help\" viewBox=\"0 0 24 24\"><path d=\"M9 9.2a3 3 0 1 1 4.3 2.7c-.9.5-1.3 1-1.3 2.1M12 17.5v.2\"/>"
    "</symbol>"
    "<symbol id=\"i-search\" viewBox=\"0 0 24 24\"><circle cx=\"11\" cy=\"11\" r=\"6\"/><path d=\"M15.5 15.5L20 20\"/>"
    "</symbol>"
    "<symbol id=\"i-left\" viewBox=\"0 0 24 24\"><path d=\"M14 6l-6 6 6 6\"/></symbol>"
    "<symbol id=\"i-right\" viewBox=\"0 0 24 24\"><path d=\"M10 6l6 6-6 6\"/></symbol>"
    "<symbol id=\"i-close\" viewBox=\"0 0 24 24\"><path d=\"M6 6l12 12M18 6L6 18\"/></symbol>"
    "<symbol id=\"i-warn\" viewBox=\"0 0 24 24\"><path d=\"M12 4l9 16H3zM12 10v4M12 17v.2\"/></symbol>"
    "<symbol id=\"i-settings\" viewBox=\"0 0 24 24\"><path d=\"M4 8h9M17 8h3M4 16h3M11 16h9\"/>"
    "<circle cx=\"15\" cy=\"8\" r=\"2\"/><circle cx=\"9\" cy=\"16\" r=\"2\"/></symbol></svg>");

constexpr Markup kHead(
    "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\">"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
    "<meta name=\"color-scheme\" content=\"light dark\">");

constexpr Markup kLooks(
    "<link rel=\"icon\" href=\"icon.svg\" type=\"image/svg+xml\"><link rel=\"stylesheet\" href=\"style.css\">");

void writeArticle(HtmlWriter& html, PageData& data) {
  switch (data.view.aside) {
    case Aside::Add:
      return writeAddPane(html, data);
    case Aside::Subscribed:
      return writeSubscribedPane(html, data);
    case Aside::Refresh:
      return writeRefreshPane(html, data);
    case Aside::Help:
      return writeHelpPane(html, data);
    case Aside::Article:
    case Aside::Feeds:
      return writeArticlePane(html, data);
  }
}

/// A part of a page that can be had alone.
struct Part {
  std::string_view id;
  void (*write)(HtmlWriter& html, PageData& data);
};

// In the order of the page: later ones use what was looked up for earlier ones.
constexpr Part kParts[] = {{"feeds", writeFeedsPane},
                           {"items", writeItemsPane},
                           {"article", writeArticle},
                           {"status", [](HtmlWriter& html, PageData& data) { writeStatus(html, data); }}};

/// Which pane a narrow screen shows.
std::string paneOf(PageData& data) {
  const View& view = data.view;
  if (view.aside == Aside::Feeds) return "feeds";
  const bool isList = view.item == 0 && view.aside == Aside::Article;
  return isList && !data.subscriptions().empty() ? "items" : "article";
}

void writeToolLink(HtmlWriter& html, const PageData& data, Aside aside, Markup icon, std::string_view text) {
  html.open("a", {{"class", "tool"},
                  {"href", addressOf(asideView(data.view, aside))},
                  {"title", std::string(text)},
                  {"aria-label", std::string(text)}});
  writeIcon(html, icon);
  html.close("a");
}

void writeBanner(HtmlWriter& html, const PageData& data) {
  html.add("<header id=\"banner\"><h1><a href=\"./\">Quillmoria</a></h1>");
  openForm(html, data, "refresh", "refresh");
  html.add("<button class=\"tool\" title=\"Refresh all feeds\" aria-label=\"Refresh all feeds\">");
  writeIcon(html, "refresh");
  html.add("</button></form>");
  writeToolLink(html, data, Aside::Add, "add", "Add a feed");
  writeToolLink(html, data, Aside::Help, "help", "Help");
  html.add("</header>");
}

/// A document that says one thing; `rest` follows the text.
std::string noteOf(Markup looks, Markup title, std::string_view text, Markup rest) {
  HtmlWriter html;
  html.add(kHead).add(looks).add("<title>").add(title).add("</title></head><body class=\"note\"><main><h1>").add(title);
  html.add("</h1>").element("p", {{"dir", "auto"}}, text).add(rest).add("</main></body></html>");
  return std::move(html).take();
}

}  // namespace

std::string pageOf(const View& view, const PageContext& context) {
  PageData data(view, context);
  HtmlWriter parts;
  writeFeedsPane(parts, data);
  parts.add("<main>");
  writeItemsPane(parts, data);
  writeArticle(parts, data);
  parts.add("</main>");
  writeStatus(parts, data);

  HtmlWriter html;
  html.add(kHead).add(kLooks);
  html.element("title", {}, data.title + " – Quillmoria").add("<script src=\"script.js\" defer></script></head>");
  html.open("body", {{"data-pane", paneOf(data)}, {"data-token", context.formToken}});
  html.add(
      "<a class=\"skip\" href=\"#list-title\">Skip to the list</a>"
      "<a class=\"skip\" href=\"#article-title\">Skip to the article</a>");
  html.add(kIcons);
  writeBanner(html, data);
  html.add(parts).add("<div id=\"lost\" role=\"alert\" hidden></div></body></html>");
  return std::move(html).take();
}

std::string partsOf(std::string_view parts, const View& view, const PageContext& context) {
  PageData data(view, context);
  HtmlWriter html;
  const std::string wanted = "." + std::string(parts) + ".";
  for (const Part& part : kParts) {
    if (wanted.find("." + std::string(part.id) + ".") != std::string::npos) part.write(html, data);
  }
  return std::move(html).take();
}

std::string articleOf(std::int64_t id, bool withImages, Archives& archives) {
  const std::optional<ArchivedItem> item = archives.use([id](NewsArchive& archive) { return archive.Item(id); });
  return item ? frameOf(*item, withImages) : frameNote("There is no such item any more.");
}

std::string errorPageOf(std::string_view text) {
  return noteOf(kLooks, "That did not work", text, "<p><a class=\"action\" href=\"./\">Back to the reader</a></p>");
}

std::string strangerPage() {
  return noteOf("", "This is somebody’s reader",
                "Its address holds a secret. Whoever has started it finds the whole address where it was started: "
                "in the terminal, on the line that quillmoria read has printed.",
                "");
}

}  // namespace quillmoria
