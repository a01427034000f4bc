#include <set>
#include <string>

#include "Subscribing.h"
#include "Text.h"
#include "WebAddress.h"
#include "reader/ArticlePane.h"
#include "reader/AsidePanes.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxOfferBytes = 40000;
constexpr std::size_t kMaxNamesBytes = 10000;
constexpr std::size_t kMaxAddressCharacters = 300;

/// What all forms that subscribe ask for beside an address, as far as it has been given.
void writePlaceFields(HtmlWriter& html, const std::string& category, const std::string& name) {
  html.add("<div class=\"fields\"><label>Category ");
  html.open("input", {{"name", "category"},
                      {"list", "categories"},
                      {"autocomplete", "off"},
                      {"placeholder", "News"},
                      {"value", category}});
  html.add("</label><label>Name ");
  html.open("input",
            {{"name", "name"}, {"autocomplete", "off"}, {"placeholder", "as the feed calls itself"}, {"value", name}});
  html.add("</label></div>");
}

void writeAddress(HtmlWriter& html, const PageData& data, bool isAnother) {
  openForm(html, data, "add");
  html.add("<div class=\"fields\"><label>Address of a feed or a site ");
  html.open("input", {{"name", "url"},
                      {"id", valueIf(!isAnother, "new-address")},
                      {"inputmode", "url"},
                      {"autocomplete", "url"},
                      {"required", ""},
                      {"placeholder", "example.org"},
                      {"value", isAnother ? "" : shownAddress(data.view.address)}});
  html.add("</label></div>");
  writePlaceFields(html, "", "");
  html.add("<button class=\"main\">Add</button></form>");
}

/// The feeds of a page; they are chosen by their addresses.
void writeOffer(HtmlWriter& html, const PageData& data, const FeedOffer& offer) {
  html.add("<h3>Which of these feeds?</h3>");
  openForm(html, data, "add");
  writeHidden(html, "url", data.view.address);
  html.add("<fieldset class=\"offer\"><legend>").element("bdi", {}, nameOf(data.view.address));
  html.add(" has several.</legend>");
  const std::size_t start = html.size();
  bool isFirst = true;
  for (const FoundFeed& feed : offer.feeds) {
    if (html.size() - start > kMaxOfferBytes) break;
    html.add("<label>").open(
        "input",
        {{"type", "radio"}, {"name", "choice"}, {"value", feed.url}, {"required", ""}, {"checked", flag(isFirst)}});
    const std::string url = lineOf(withoutUserInformation(feed.url), kMaxAddressCharacters);
    const std::string title = nameOf(feed.title);
    html.add("<span>").element("bdi", {}, title.empty() ? url : title);
    html.element("small", {}, url).add("</span></label>");
    isFirst = false;
  }
  html.add("</fieldset>");
  writePlaceFields(html, offer.category, offer.name);
  html.add("<button class=\"main\">Subscribe</button></form><h3>Another address</h3>");
}

void writeImport(HtmlWriter& html, const PageData& data) {
  html.add("<h3>Import a list</h3><p>Feeds that you have already are not doubled.</p>");
  openForm(html, data, "import");
  html.add(
      "<div class=\"fields\"><label>OPML file <input type=\"file\" name=\"list\" required "
      "accept=\".opml,.xml,text/xml,application/xml,text/x-opml\"></label><button>Import the "
      "file</button></div></form>");
  openForm(html, data, "import");
  html.add(
      "<div class=\"fields\"><label>Address of a list <input name=\"url\" inputmode=\"url\" required "
      "placeholder=\"https://example.org/list.opml\"></label><button>Import from there</button></div></form>");
}

}  // namespace

void writeCategoryNames(HtmlWriter& html, PageData& data) {
  std::set<std::string> names;
  for (const OwnFeed& feed : data.subscriptions()) names.insert(feed.category);
  html.add("<datalist id=\"categories\">");
  const std::size_t start = html.size();
  for (const std::string& name : names) {
    if (html.size() - start > kMaxNamesBytes) break;
    html.open("option", {{"value", name}});
  }
  html.add("</datalist>");
}

void writeAddPane(HtmlWriter& html, PageData& data) {
  openThirdPane(html, data, "aside", "Add a feed");
  html.add("<div class=\"tools\">");
  writeWayBack(html, data);
  html.add("</div><h2 id=\"article-title\" tabindex=\"-1\">Add a feed</h2>");
  const bool isToChoose = data.context.offer && !data.context.offer->feeds.empty();
  if (isToChoose) writeOffer(html, data, *data.context.offer);
  writeAddress(html, data, isToChoose);
  writeImport(html, data);
  html.add(
      "<h3>Export</h3><p>Your subscriptions as an OPML file, which other readers import.</p>"
      "<p><a class=\"action\" href=\"export\" download>Export the list</a></p>"
      "<h3>Sample feeds</h3><p>A few that come with the program, to look around.</p>");
  writeButtonForm(html, data, "samples", "samples", "1", "Try the sample feeds");
  writeCategoryNames(html, data);
  html.add("</section>");
}

}  // namespace quillmoria
