#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// As SanitizeHtml, appended to `out`; texts without `<` and `&` take the short way.
void appendSafeHtml(std::string& out, std::string_view html, std::string_view baseUrl);

/// As PlainText, appended to `out`.
void appendPlainText(std::string& out, std::string_view html);

/// `text`, which is no HTML, as HTML: escaped, its line breaks kept as `<br>`.
std::string htmlOfText(std::string_view text);

}  // namespace quillmoria
