#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillmoria {

/// What relative addresses may take in all, made absolute.
inline constexpr std::size_t kMaxResolvedBytes = 32 << 20;

/// As SanitizeHtml, appended to `out`; texts without `<` and `&` take the short way. Takes from `resolvable` what
/// absolute addresses take that were relative; once that is used up, these are left out.
void appendSafeHtml(std::string& out, std::string_view html, std::string_view baseUrl, std::size_t& resolvable);

/// As PlainText, appended to `out`.
void appendPlainText(std::string& out, std::string_view html);

/// `text`, which is no HTML, as HTML: escaped, its line breaks kept as `<br>`.
std::string htmlOfText(std::string_view text);

}  // namespace quillmoria
