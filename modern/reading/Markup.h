#pragma once

#include <string>
#include <string_view>

#include "xml/XmlParser.h"

namespace quillmoria {

/// Appends `text` escaped for HTML, in attributes as well.
void appendEscaped(std::string& out, std::string_view text);

/// Appends the start tag of an XML element as HTML, prefixes and attributes with prefixes left out. Relative addresses
/// become absolute by `base`, or stay as they are if that is empty.
void appendStartTag(std::string& out, std::string_view name, XmlAttributes attributes, std::string_view base);

/// Appends the end tag that belongs to it, if HTML has one.
void appendEndTag(std::string& out, std::string_view name);

}  // namespace quillmoria
