#include "reader/HtmlWriter.h"

#include <algorithm>

namespace quillmoria {
namespace {

std::string_view referenceFor(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    case '\0':
      return " ";
    default:
      return {};
  }
}

void appendEscaped(std::string& html, std::string_view plain) {
  constexpr std::string_view kSpecial("&<>\"'\0", 6);
  while (!plain.empty()) {
    const std::size_t end = std::min(plain.find_first_of(kSpecial), plain.size());
    html += plain.substr(0, end);
    if (end == plain.size()) return;
    html += referenceFor(plain[end]);
    plain.remove_prefix(end + 1);
  }
}

}  // namespace

HtmlWriter& HtmlWriter::add(Markup markup) {
  html_ += markup.text();
  return *this;
}

HtmlWriter& HtmlWriter::open(Markup element, std::initializer_list<Attribute> attributes) {
  (html_ += '<') += element.text();
  for (const Attribute& attribute : attributes) {
    if (!attribute.value) continue;
    ((html_ += ' ') += attribute.name.text()) += "=\"";
    appendEscaped(html_, *attribute.value);
    html_ += '"';
  }
  html_ += '>';
  return *this;
}

HtmlWriter& HtmlWriter::close(Markup element) {
  ((html_ += "</") += element.text()) += '>';
  return *this;
}

HtmlWriter& HtmlWriter::text(std::string_view plain) {
  appendEscaped(html_, plain);
  return *this;
}

HtmlWriter& HtmlWriter::element(Markup name, std::initializer_list<Attribute> attributes, std::string_view plain) {
  return open(name, attributes).text(plain).close(name);
}

HtmlWriter& HtmlWriter::add(const HtmlWriter& other) {
  html_ += other.html_;
  return *this;
}

HtmlWriter& HtmlWriter::addSafe(std::string_view engineHtml) {
  html_ += engineHtml;
  return *this;
}

}  // namespace quillmoria
