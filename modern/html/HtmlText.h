#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// Appends `text` as it stands in a page, between tags or in a quoted value: escaped, and without control characters;
/// those from U+0080 to U+009F become what windows-1252 has there, as a page means them.
void appendEscapedHtml(std::string& out, std::string_view text);

/// Appends `text`, characters and not markup, with its white space collapsed. What `out` ends in counts: there is never
/// white space at its beginning, nor twice. The same characters change as by appendEscapedHtml.
void appendCollapsed(std::string& out, std::string_view text);

}  // namespace quillmoria
