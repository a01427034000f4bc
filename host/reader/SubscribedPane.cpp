#include <algorithm>
#include <string>
#include <string_view>

#include "Text.h"
#include "WebAddress.h"
#include "reader/ArticlePane.h"
#include "reader/AsidePanes.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxAddressCharacters = 500;
constexpr std::size_t kMaxDescriptionCharacters = 400;

const ShownFeed* subscribedAt(PageData& data) {
  const std::string key = addressKey(data.view.address);
  const auto isThere = [&key](const ShownFeed& feed) {
    return !feed.own.url.empty() && addressKey(feed.own.url) == key;
  };
  const auto found = std::ranges::find_if(data.feeds(), isThere);
  return found == data.feeds().end() ? nullptr : &*found;
}

class FactList {
 public:
  FactList(HtmlWriter& html, CTime now) : html_(html), now_(now) { html_.add("<dl class=\"facts\">"); }
  ~FactList() { html_.add("</dl>"); }
  FactList(const FactList&) = delete;
  FactList& operator=(const FactList&) = delete;

  void text(Markup name, std::string_view value) {
    if (value.empty()) return;
    begin(name);
    html_.element("bdi", {}, value).add("</dd></div>");
  }

  void time(Markup name, CTime value, Markup otherwise) {
    begin(name);
    if (value == CTime()) html_.add(otherwise);
    writeTime(html_, value, now_);
    html_.add("</dd></div>");
  }

  void link(Markup name, const std::string& url) {
    if (url.empty()) return;
    begin(name);
    writeWayOut(html_, url, "", lineOf(withoutUserInformation(url), kMaxAddressCharacters));
    html_.add("</dd></div>");
  }

 private:
  void begin(Markup name) { html_.add("<div><dt>").add(name).add("</dt><dd>"); }

  HtmlWriter& html_;
  const CTime now_;
};

void writeFacts(HtmlWriter& html, const PageData& data, const ShownFeed& feed) {
  FactList facts(html, data.now);
  facts.link("Address", feed.own.url);
  if (!feed.archived) return facts.text("State", "Not fetched yet: refresh to fetch it.");
  const ArchivedFeed& known = *feed.archived;
  facts.link("Site", known.siteUrl);
  facts.text("Last answer", lineOf(withoutUserInformation(known.lastStatus), kMaxDescriptionCharacters));
  facts.time("Last fetched", known.lastSuccess, "never");
  facts.time("Last asked", known.lastAsked, "never");
  facts.time("Next due", known.nextDue, "no more");
  facts.text("Items", std::to_string(known.itemCount) + " (" + std::to_string(known.unreadCount) + " unread, " +
                          std::to_string(known.starredCount) + " starred)");
  facts.text("Format", nameOf(known.format));
}

void writeEdit(HtmlWriter& html, PageData& data, const ShownFeed& feed) {
  html.add("<h3>Name and category</h3>");
  openForm(html, data, "edit");
  writeHidden(html, "address", withoutUserInformation(feed.own.url));
  html.add("<div class=\"fields\"><label>Name ");
  html.open("input", {{"name", "name"},
                      {"value", feed.own.label.empty() ? feed.own.name : feed.own.label},
                      {"autocomplete", "off"},
                      {"dir", "auto"}});
  html.add("</label><label>Category ");
  html.open("input", {{"name", "category"},
                      {"value", feed.own.category},
                      {"list", "categories"},
                      {"autocomplete", "off"},
                      {"dir", "auto"}});
  html.add(
      "</label></div><p class=\"hint\">A category within another is written “News / Europe”.</p>"
      "<button class=\"main\">Save</button></form>");
  writeCategoryNames(html, data);
}

void writeRemove(HtmlWriter& html, const PageData& data, const ShownFeed& feed) {
  html.add(
      "<h3>Unsubscribe</h3><details class=\"remove\"><summary>Remove this feed…</summary>"
      "<p>The feed goes from your list, and its items with it; starred ones stay.</p>");
  openForm(html, data, "remove");
  writeHidden(html, "address", withoutUserInformation(feed.own.url));
  html.add("<button class=\"danger\">Remove it</button></form></details>");
}

void writeUnsubscribed(HtmlWriter& html, const PageData& data) {
  View add = asideView(data.view, Aside::Add);
  add.address = shownAddress(data.view.address);
  html.add("<h2 id=\"article-title\" tabindex=\"-1\">Not subscribed</h2><p>There is no subscription at ");
  html.element("bdi", {}, lineOf(add.address, kMaxAddressCharacters)).add(".</p><p>");
  writeLink(html, add, "action", "Add it");
  html.add("</p>");
}

void writeSubscription(HtmlWriter& html, PageData& data, const ShownFeed& feed) {
  html.add("<h2 id=\"article-title\" tabindex=\"-1\">");
  writeBadge(html, data, feed.own.url, nameOf(feed.own));
  html.element("bdi", {}, nameOf(feed.own)).add("</h2>");
  if (feed.archived) {
    if (const std::string failure = whyItFails(*feed.archived); !failure.empty()) {
      html.add("<p class=\"failure\">");
      writeIcon(html, "warn");
      html.add("<span>This feed fails: ").element("bdi", {}, failure).add("</span></p>");
    }
    const std::string description = lineOf(feed.archived->description, kMaxDescriptionCharacters);
    if (!description.empty()) html.element("p", {{"class", "lead"}, {"dir", "auto"}}, description);
    html.add("<p>");
    writeLink(html, feedView(View(), feed.archived->id), "action", "Show its items");
    html.add("</p>");
  }
  writeFacts(html, data, feed);
  writeEdit(html, data, feed);
  writeRemove(html, data, feed);
}

}  // namespace

void writeSubscribedPane(HtmlWriter& html, PageData& data) {
  const ShownFeed* const feed = subscribedAt(data);
  openThirdPane(html, data, "aside", feed ? nameOf(feed->own) : "Not subscribed");
  html.add("<div class=\"tools\">");
  writeWayBack(html, data);
  html.add("</div>");
  if (feed) {
    writeSubscription(html, data, *feed);
  } else {
    writeUnsubscribed(html, data);
  }
  html.add("</section>");
}

}  // namespace quillmoria
