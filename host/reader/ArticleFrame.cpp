#include "reader/ArticleFrame.h"

#include <algorithm>
#include <string_view>

#include "Browser.h"
#include "Text.h"
#include "reader/HtmlWriter.h"
#include "reader/LocalHtml.h"
#include "reader/PageParts.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxTitleCharacters = 300;
constexpr std::size_t kMaxLanguageBytes = 35;

bool isLanguage(std::string_view text) {
  constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
  return !text.empty() && text.size() <= kMaxLanguageBytes &&
         text.find_first_not_of(kAllowed) == std::string_view::npos;
}

void beginDocument(HtmlWriter& html, const std::string& language, std::string_view title) {
  html.add("<!DOCTYPE html>").open("html", {{"lang", language}});
  html.add(
      "<head><meta charset=\"utf-8\"><meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
      "<base target=\"_blank\"><link rel=\"stylesheet\" href=\"article.css\">");
  html.element("title", {}, title).add("</head><body dir=\"auto\">");
}

}  // namespace

std::string textOf(const ArchivedItem& item) {
  if (!item.details.contentW.empty()) return toUtf8(item.details.contentW);
  if (!item.details.summaryW.empty()) return toUtf8(item.details.summaryW);
  return item.item.description;
}

std::string pictureOf(const ArchivedItem& item, const std::string& text) {
  return text.find("<img ") == std::string::npos ? browserAddress(item.details.imageUrl).value_or("") : "";
}

bool hasRemoteImages(const ArchivedItem& item) {
  const std::string text = textOf(item);
  return asksElsewhere(text) || !pictureOf(item, text).empty();
}

std::string frameOf(const ArchivedItem& item, bool withImages) {
  const std::string text = withImages ? textOf(item) : withoutAsking(textOf(item));
  HtmlWriter html;
  const std::string& language = item.details.language;
  beginDocument(html, isLanguage(language) ? language : "und", titleOf(item, kMaxTitleCharacters));
  if (const std::string picture = pictureOf(item, text); withImages && !picture.empty()) {
    html.open("p", {{"class", "picture"}}).open("img", {{"src", picture}, {"alt", ""}}).add("</p>");
  }
  if (text.empty()) {
    html.add("<p class=\"note\">The feed has no text for this item: open the original to read it.</p>");
  } else {
    html.addSafe(text);
  }
  html.add("</body></html>");
  return std::move(html).take();
}

std::string frameNote(const std::string& text) {
  HtmlWriter html;
  beginDocument(html, "en", text);
  html.element("p", {{"class", "note"}}, text).add("</body></html>");
  return std::move(html).take();
}

}  // namespace quillmoria
