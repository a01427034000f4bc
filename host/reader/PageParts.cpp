#include "reader/PageParts.h"

#include <algorithm>
#include <array>

#include "Browser.h"
#include "ItemText.h"
#include "Text.h"
#include "WebAddress.h"
#include "reader/Times.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxNameCharacters = 80;
constexpr std::size_t kMaxStatusCharacters = 300;
constexpr std::size_t kMaxBytesOfCharacter = 4;
constexpr std::size_t kMaxPictureAddressBytes = 500;

constexpr std::array<Markup, 12> kHues{"badge hue0", "badge hue1", "badge hue2",  "badge hue3",
                                       "badge hue4", "badge hue5", "badge hue6",  "badge hue7",
                                       "badge hue8", "badge hue9", "badge hue10", "badge hue11"};

struct Advice {
  Outcome outcome;
  std::string_view text;
};

constexpr Advice kAdvice[] = {
    {Outcome::Denied, "The server wants a name and a password, or does not let you in any more."},
    {Outcome::NotFound, "Look for the feed's new address on its site and add that one."},
    {Outcome::Gone, "The feed has ended for good: you can remove it."},
    {Outcome::RateLimited, "The server asks for a rest. It is tried again by itself."},
    {Outcome::ServerError, "The server is in trouble. It is tried again at the next refresh."},
    {Outcome::HttpError, "Look on the feed's site whether its address has changed."},
    {Outcome::NetworkError, "Check your connection, and the feed's address."},
    {Outcome::TlsError, "The server's certificate cannot be trusted. Nothing is fetched until its owner mends it."},
    {Outcome::TooLarge, "Look on the feed's site for a shorter one."},
    {Outcome::NotAFeed, "Look for the feed's new address on its site and add that one."},
    {Outcome::Malformed, "Its owner has to mend it. It is tried again at the next refresh."},
    {Outcome::NoMemory, "Close other programs and refresh again."},
};

/// The first letter or digit of a name, as capitals where that is plain.
std::string initialOf(std::string_view name) {
  std::string initial;
  while (!name.empty() && initial.empty()) {
    char32_t c = takeCharacter(name);
    const bool isSmall = c >= 'a' && c <= 'z';
    const bool isSign = c < 0x80 && !isSmall && !(c >= 'A' && c <= 'Z') && !(c >= '0' && c <= '9');
    if (!isSign) appendUtf8(initial, isSmall ? c - 'a' + 'A' : c);
  }
  return initial.empty() ? "?" : initial;
}

/// The same for the same text on every machine.
std::size_t hueOf(std::string_view text) {
  std::uint32_t hash = 2166136261u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash % kHues.size();
}

/// What to do about a feed that cannot be had; empty for one that can.
std::string_view adviceOn(Outcome outcome) {
  const auto* const advice = std::ranges::find(kAdvice, outcome, &Advice::outcome);
  return advice == std::end(kAdvice) ? std::string_view() : advice->text;
}

std::optional<std::string> classOf(Markup cssClass) { return valueIf(!cssClass.text().empty(), cssClass.text()); }

/// The query of a view's address.
std::string backTo(const View& view) {
  const std::string address = addressOf(view);
  return address.substr(std::min(address.find('?'), address.size() - 1) + 1);
}

}  // namespace

std::string lineOf(std::string_view text, std::size_t characters) {
  const std::string line = collapsed(printable(firstBytes(text, characters * kMaxBytesOfCharacter * 2)));
  std::string_view rest = line;
  for (; characters > 0 && !rest.empty(); --characters) takeCharacter(rest);
  return rest.empty() ? line : line.substr(0, line.size() - rest.size()) + "…";
}

std::string nameOf(std::string_view text) { return lineOf(text, kMaxNameCharacters); }

std::string nameOf(const OwnFeed& feed) { return nameOf(feed.label.empty() ? feed.name : feed.label); }

std::string titleOf(const ArchivedItem& item, std::size_t characters) {
  const std::string title = lineOf(titleText(item.item), characters);
  return title.empty() ? "An item without a title" : title;
}

void writeIcon(HtmlWriter& html, Markup name) {
  html.add("<svg class=\"icon\" aria-hidden=\"true\"><use href=\"#i-").add(name).add("\"/></svg>");
}

void writeUnseen(HtmlWriter& html, std::string_view text) { html.element("span", {{"class", "unseen"}}, text); }

void writeLink(HtmlWriter& html, const View& to, Markup cssClass, std::string_view text) {
  html.element("a", {{"class", classOf(cssClass)}, {"href", addressOf(to)}}, text);
}

void writeWayOut(HtmlWriter& html, std::string_view url, Markup cssClass, std::string_view text) {
  const std::optional<std::string> address = browserAddress(url);
  if (!address) {
    html.element("bdi", {}, text);
    return;
  }
  html.open("a",
            {{"class", classOf(cssClass)}, {"href", *address}, {"target", "_blank"}, {"rel", "noopener noreferrer"}});
  html.element("bdi", {}, text).close("a");
}

void writeTime(HtmlWriter& html, CTime time, CTime now) {
  if (time == CTime()) return;
  html.element("time", {{"datetime", time.Format("%Y-%m-%dT%H:%M:%S%z")}, {"title", exactTime(time)}},
               saidTime(time, now));
}

void openForm(HtmlWriter& html, const PageData& data, Markup action, std::optional<std::string> id) {
  // The server's library takes the other form of a body up to 8 KiB alone, which long addresses and names exceed.
  html.open("form", {{"method", "post"},
                     {"enctype", "multipart/form-data"},
                     {"action", std::string(action.text())},
                     {"id", std::move(id)}});
  writeHidden(html, "token", data.context.formToken);
  writeHidden(html, "back", backTo(data.view));
}

void writeHidden(HtmlWriter& html, Markup name, std::string_view value) {
  html.open("input", {{"type", "hidden"}, {"name", std::string(name.text())}, {"value", std::string(value)}});
}

void writeButtonForm(HtmlWriter& html, const PageData& data, Markup action, Markup name, std::string_view value,
                     std::string_view text) {
  openForm(html, data, action);
  html.element("button", {{"name", std::string(name.text())}, {"value", std::string(value)}}, text).close("form");
}

void writeBadge(HtmlWriter& html, const PageData& data, const std::string& url, std::string_view name) {
  const std::string address = withoutUserInformation(url);
  if (!address.empty() && address.size() <= kMaxPictureAddressBytes && data.context.pictures.has(address)) {
    html.open("img", {{"class", "badge"},
                      {"src", "picture?url=" + fieldValue(address)},
                      {"alt", ""},
                      {"width", "18"},
                      {"height", "18"}});
    return;
  }
  const Markup hue = kHues[hueOf(name)];
  html.element("span", {{"class", std::string(hue.text())}, {"aria-hidden", "true"}}, initialOf(name));
}

std::string whyItFails(const ArchivedFeed& feed) {
  if (feed.failures <= 0 && feed.lastOutcome != Outcome::Gone) return "";
  std::string text = lineOf(withoutUserInformation(feed.lastStatus), kMaxStatusCharacters);
  if (text.empty()) text = "The last refresh failed";
  if (!text.ends_with('.')) text += '.';
  const std::string_view advice = adviceOn(feed.lastOutcome);
  return advice.empty() ? text : text.append(" ").append(advice);
}

View listOf(const View& view) {
  View list;
  list.feed = view.feed;
  list.category = view.category;
  list.onlyUnread = view.onlyUnread;
  list.onlyStarred = view.onlyStarred;
  list.words = view.words;
  return list;
}

View feedView(const View& from, std::int64_t feed) {
  View view;
  view.feed = feed;
  view.onlyUnread = from.onlyUnread;
  return view;
}

View categoryView(const View& from, const std::string& category) {
  View view;
  view.category = category;
  view.onlyUnread = from.onlyUnread;
  return view;
}

View subscriptionView(const View& from, const std::string& url) {
  View view = asideView(from, Aside::Subscribed);
  view.address = withoutUserInformation(url);
  return view;
}

View asideView(const View& from, Aside aside) {
  View view = listOf(from);
  view.aside = aside;
  return view;
}

}  // namespace quillmoria
