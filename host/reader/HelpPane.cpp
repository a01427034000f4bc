#include "Text.h"
#include "reader/ArticlePane.h"
#include "reader/AsidePanes.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

struct Key {
  Markup keys;
  Markup effect;
};

constexpr Key kKeys[] = {
    {"<kbd>j</kbd> <kbd>k</kbd>", "open the next item, or the one before"},
    {"<kbd>n</kbd> <kbd>p</kbd>", "go down or up the list without opening; <kbd>Enter</kbd> opens"},
    {"<kbd>Space</kbd>", "scroll the article; at its end, open the next unread item"},
    {"<kbd>m</kbd>", "mark as read, or as unread"},
    {"<kbd>s</kbd>", "star, or take the star off"},
    {"<kbd>o</kbd>", "open the original in a new tab"},
    {"<kbd>u</kbd>", "undo what was marked last"},
    {"<kbd>r</kbd>", "refresh all feeds"},
    {"<kbd>/</kbd>", "search"},
    {"<kbd>g</kbd> <kbd>a</kbd>",
     "go to all items; <kbd>g</kbd> <kbd>u</kbd> to unread, <kbd>g</kbd> <kbd>s</kbd> to starred"},
    {"<kbd>Esc</kbd>", "back to the list; from a search to what was searched"},
    {"<kbd>?</kbd>", "this help"},
};

void writeKeys(HtmlWriter& html) {
  html.add("<h3>Keys</h3><dl class=\"facts keys\">");
  for (const Key& key : kKeys) {
    html.add("<div><dt>").add(key.keys).add("</dt><dd>").add(key.effect).add("</dd></div>");
  }
  html.add("</dl>");
}

void writeImages(HtmlWriter& html, const PageData& data) {
  html.add("<h3>Images</h3>");
  if (data.context.withImages) {
    html.add("<p>Articles load their images from the sites that hold them, which then see your address.</p>");
    writeButtonForm(html, data, "images", "on", "0", "Do not load images");
  } else {
    html.add("<p>Articles do not load images, so that the sites that hold them do not learn what you read.</p>");
    writeButtonForm(html, data, "images", "on", "1", "Load images");
  }
}

}  // namespace

void writeHelpPane(HtmlWriter& html, PageData& data) {
  openThirdPane(html, data, "aside", "Help");
  html.add("<div class=\"tools\">");
  writeWayBack(html, data);
  html.add("</div><h2 id=\"article-title\" tabindex=\"-1\">Help</h2>");
  writeKeys(html);
  writeImages(html, data);
  html.add("<h3>Your data</h3><p>Subscriptions and items lie in the folder ");
  html.element("code", {}, printable(data.context.baseFolder));
  html.add(
      " on this machine, and nowhere else.</p><h3>Privacy</h3><p>This page comes from a program on your own machine, "
      "which talks to nobody but the servers of your feeds. Articles are shown without their scripts, and who wrote "
      "them "
      "does not learn that you read them unless you load images, play what is enclosed or follow a "
      "link.</p></section>");
}

}  // namespace quillmoria
