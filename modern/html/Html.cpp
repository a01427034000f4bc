#include "modern/html/Html.h"

#include "modern/html/HtmlElements.h"
#include "modern/html/HtmlText.h"
#include "modern/html/HtmlTokens.h"
#include "modern/html/SafeHtml.h"
#include "platform/CodePage.h"
#include "quillmoria/Html.h"

namespace quillmoria {
namespace {

bool isMarkup(std::string_view text) { return text.find_first_of("<&") != std::string_view::npos; }

/// The plain text of what has tags or references.
void appendTextOfMarkup(std::string& out, std::string_view html) {
  HtmlTokens tokens(html);
  const HtmlElement* dropped = nullptr;
  std::size_t droppedDepth = 0;
  std::string resolved;
  for (;;) {
    const HtmlToken& token = tokens.next();
    if (token.kind == HtmlTokenKind::End) return;
    if (token.kind == HtmlTokenKind::Text) {
      if (dropped) continue;
      resolved.clear();
      appendResolved(resolved, token.text, false);
      appendCollapsed(out, resolved);
      continue;
    }
    const HtmlElement& element = htmlElement(token.name);
    const bool isStart = token.kind == HtmlTokenKind::StartTag;
    if (isStart && element.is(kRaw)) {
      tokens.skipRawText(element.name);
    } else if (isStart && token.isClosed && element.is(kForeign)) {
      continue;
    } else if (dropped) {
      if (&element == dropped) droppedDepth += isStart ? 1 : std::size_t(-1);
      if (droppedDepth == 0 || (dropped->is(kForeign) && element.is(kBlock))) dropped = nullptr;
    } else if (isStart && element.is(kDropped)) {
      dropped = &element;
      droppedDepth = 1;
    } else if (element.is(kBreaking)) {
      appendCollapsed(out, " ");
      if (isStart && element.is(kLiteral)) appendCollapsed(out, tokens.skipRawText(element.name));
    }
  }
}

/// `text` as it is, or, in `valid`, with U+FFFD for what is no UTF-8.
std::string_view validUtf8(std::string_view text, std::string& valid) {
  valid = wideToUtf8(utf8ToWide(text));
  return valid;
}

}  // namespace

void appendSafeHtml(std::string& out, std::string_view html, std::string_view baseUrl, std::size_t& resolvable) {
  if (!isMarkup(html)) return appendEscapedHtml(out, html);
  SafeHtmlWriter(out, baseUrl, resolvable).write(html);
}

void appendPlainText(std::string& out, std::string_view html) {
  std::string text;
  isMarkup(html) ? appendTextOfMarkup(text, html) : appendCollapsed(text, html);
  if (text.ends_with(' ')) text.pop_back();
  out += text;
}

std::string htmlOfText(std::string_view text) {
  std::string html;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    appendEscapedHtml(html, line);
    text.remove_prefix(line.size());
    if (text.empty()) break;
    text.remove_prefix(1);
    html += "<br>";
  }
  return html;
}

std::string SanitizeHtml(std::string_view html, std::string_view baseUrl) {
  std::string valid;
  std::string safe;
  std::size_t resolvable = kMaxResolvedBytes;
  appendSafeHtml(safe, validUtf8(html, valid), baseUrl, resolvable);
  return safe;
}

std::string PlainText(std::string_view html) {
  std::string valid;
  std::string text;
  appendPlainText(text, validUtf8(html, valid));
  return text;
}

}  // namespace quillmoria
