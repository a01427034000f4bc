#include "modern/html/Page.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "modern/html/Html.h"
#include "modern/html/HtmlElements.h"
#include "modern/html/HtmlTokens.h"
#include "platform/Text.h"
#include "platform/Url.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxLinks = 100;
constexpr std::string_view kFeedTypes[] = {
    "application/rss+xml", "application/atom+xml", "application/rdf+xml", "application/feed+json",
    "application/json",    "text/rss+xml",         "application/xml",     "text/xml",
    "application/rss",     "application/atom"};
constexpr std::string_view kInterface = "/wp-json/";  ///< WordPress names its own for programs on each page
constexpr std::string_view kFirstTags[] = {"html", "head", "body", "title", "meta", "script", "div", "p"};

/// The value of an attribute with its references resolved.
std::string valueOf(const HtmlToken& tag, std::string_view name) {
  std::string value;
  for (const HtmlAttribute& attribute : tag.attributes) {
    if (lowerAscii(attribute.name) != name) continue;
    appendResolved(value, attribute.value, true);
    break;
  }
  return value;
}

bool hasWord(std::string_view list, std::string_view word) {
  constexpr std::string_view kSpace = " \t\n\r\f";
  while (!list.empty()) {
    const std::string_view one = list.substr(0, list.find_first_of(kSpace));
    if (one == word) return true;
    list.remove_prefix(std::min(one.size() + 1, list.size()));
  }
  return false;
}

/// The media type alone, without its parameters.
std::string typeOf(const HtmlToken& tag) {
  std::string type = lowerAscii(valueOf(tag, "type"));
  type.resize(std::min(type.find(';'), type.size()));
  std::erase(type, ' ');
  return type;
}

bool isWebAddress(std::string_view url) {
  const std::string scheme = schemeOf(url);
  return scheme == "http" || scheme == "https";
}

bool isFeedLink(const HtmlToken& tag, const std::string& type) {
  const std::string relation = lowerAscii(valueOf(tag, "rel"));
  if (hasWord(relation, "feed")) return true;
  return hasWord(relation, "alternate") && std::ranges::find(kFeedTypes, type) != std::end(kFeedTypes) &&
         valueOf(tag, "href").find(kInterface) == std::string::npos;
}

}  // namespace

std::vector<PageLink> feedLinks(std::string_view html, std::string_view url) {
  std::vector<PageLink> links;
  std::unordered_set<std::string> known;
  std::string base(url);
  bool hasBase = false;
  HtmlTokens tokens(html);
  while (links.size() < kMaxLinks) {
    const HtmlToken& token = tokens.next();
    if (token.kind == HtmlTokenKind::End) break;
    if (token.kind != HtmlTokenKind::StartTag) continue;
    if (htmlElement(token.name).is(kRaw)) {
      tokens.skipRawText(htmlElement(token.name).name);
    } else if (token.name == "base" && !hasBase) {
      const std::string given = absoluteUrl(valueOf(token, "href"), url);
      hasBase = isWebAddress(given);
      if (hasBase) base = given;
    } else if (token.name == "link" || token.name == "a") {
      std::string type = typeOf(token);
      if (!isFeedLink(token, type)) continue;
      std::string address = absoluteUrl(valueOf(token, "href"), base);
      if (!isWebAddress(address) || !known.insert(address).second) continue;
      std::string title;
      appendPlainText(title, valueOf(token, "title"));
      links.push_back({std::move(title), std::move(address), std::move(type)});
    }
  }
  return links;
}

std::string pageCharset(std::string_view html) {
  constexpr std::size_t kBeginning = 4096;
  HtmlTokens tokens(html.substr(0, kBeginning));
  for (const HtmlToken* token = &tokens.next(); token->kind != HtmlTokenKind::End; token = &tokens.next()) {
    if (token->kind != HtmlTokenKind::StartTag) continue;
    if (htmlElement(token->name).is(kRaw)) tokens.skipRawText(htmlElement(token->name).name);
    if (token->name != "meta") continue;
    if (std::string charset = valueOf(*token, "charset"); !charset.empty()) return charset;
    if (lowerAscii(valueOf(*token, "http-equiv")) != "content-type") continue;
    constexpr std::string_view kCharset = "charset=";
    const std::string content = lowerAscii(valueOf(*token, "content"));
    const std::size_t at = content.find(kCharset);
    if (at != std::string::npos) return content.substr(at + kCharset.size());
  }
  return "";
}

bool isWebPage(std::string_view text) {
  constexpr std::size_t kBeginning = 4096;
  HtmlTokens tokens(text.substr(0, kBeginning));
  const HtmlToken* token = &tokens.next();
  while (token->kind != HtmlTokenKind::End && token->kind != HtmlTokenKind::StartTag) token = &tokens.next();
  return token->kind == HtmlTokenKind::StartTag && std::ranges::find(kFirstTags, token->name) != std::end(kFirstTags);
}

}  // namespace quillmoria
