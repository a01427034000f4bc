#pragma once

#include <cstdio>
#include <string>

#include "quillmoria/OPML.h"

inline std::string readable(const std::string& text) { return text; }

/// ASCII as it is, other UTF-16 units as \XXXX.
inline std::string readable(const std::u16string& text) {
  std::string shown;
  for (const char16_t unit : text) {
    char code[8];
    std::snprintf(code, sizeof code, unit < 128 ? "%c" : "\\%04X", static_cast<unsigned>(unit));
    shown += code;
  }
  return shown;
}

inline std::string readable(CTime time) { return time.Format("%Y-%m-%d %H:%M:%S"); }
inline std::string readable(std::int32_t number) { return number == -1 ? "" : std::to_string(number); }

/// " name=value", or nothing for a reset value.
inline std::string field(const char* name, const auto& value) {
  const std::string shown = readable(value);
  return shown.empty() ? "" : " " + std::string(name) + "=" + shown;
}

/// Outlines as "text[fields](children)"; one whose parent or level are not those of its place has a "*".
inline std::string dump(const std::vector<OPMLDoc::OutlineStruct*>& outlines,
                        const OPMLDoc::OutlineStruct* parent = nullptr) {
  std::string shown;
  for (const OPMLDoc::OutlineStruct* outline : outlines) {
    shown += (shown.empty() ? "" : " ") + readable(outline->text);
    if (outline->parent != parent || outline->level != (parent ? parent->level + 1 : 0)) shown += "*";
    const std::string fields = field("type", outline->type) + field("xmlUrl", outline->xmlUrl) +
                               field("url", outline->url) + field("created", outline->dateCreated) +
                               field("description", outline->description);
    if (!fields.empty()) shown += "[" + fields.substr(1) + "]";
    if (!outline->children.empty()) shown += "(" + dump(outline->children, outline) + ")";
  }
  return shown;
}

/// The set fields of the document's head, then its tree.
inline std::string dump(const OPMLDoc& document) {
  const OPMLDoc::HeadStruct& head = document.head;
  return field("version", document.version) + field("title", head.title) + field("created", head.dateCreated) +
         field("modified", head.dateModified) + field("owner", head.ownerName) + field("email", head.ownerEmail) +
         field("expansion", head.expansionState) + field("scroll", head.vertScrollState) +
         field("top", head.windowTop) + field("left", head.windowLeft) + field("bottom", head.windowBottom) +
         field("right", head.windowRight) + " | " + dump(document.outlines);
}
