#include "modern/html/Html.h"

#include "quillmoria/Html.h"

namespace quillmoria {

void appendSafeHtml(std::string&, std::string_view, std::string_view) {}

void appendPlainText(std::string&, std::string_view) {}

std::string htmlOfText(std::string_view) { return {}; }

std::string SanitizeHtml(std::string_view html, std::string_view baseUrl) {
  std::string safe;
  appendSafeHtml(safe, html, baseUrl);
  return safe;
}

std::string PlainText(std::string_view html) {
  std::string text;
  appendPlainText(text, html);
  return text;
}

}  // namespace quillmoria
