#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "modern/archive/Database.h"
#include "quillmoria/NewsDetails.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// What a query of `items` joined with `texts` selects for readItem, from its first column on, which is the moment.
inline constexpr char kItemColumns[] =
    "items.moment, items.id, items.first_seen, items.published, items.updated, items.guid, items.is_permalink, "
    "items.link, items.title, items.authors, texts.comments_url, texts.image_url, texts.source_title, "
    "texts.source_url, "
    "texts.language";
inline constexpr int kItemColumnCount = 15;

/// What it selects after those for readTexts.
inline constexpr char kTextColumns[] = "texts.summary, texts.content";
inline constexpr int kTextColumnCount = 2;

/// What a query of `categories` selects for readCategory, and one of `enclosures` for readEnclosure; the first column
/// is the item's moment.
inline constexpr char kCategoryColumns[] = "categories.item, categories.name";
inline constexpr char kEnclosureColumns[] =
    "enclosures.item, enclosures.url, enclosures.type, enclosures.length, enclosures.title, enclosures.duration";

// All members of an item but its status, and whether it has changed.
void readItem(const Rows& row, RSSObject::NewsItemStruct& item, ItemDetails& details);
void readTexts(const Rows& row, RSSObject::NewsItemStruct& item, ItemDetails& details);
void readCategory(const Rows& row, ItemDetails& details);
void readEnclosure(const Rows& row, ItemDetails& details);

// Lists inside a column stand one a line.
std::string linesOf(const std::vector<std::string>& texts);
std::vector<std::string> listOf(std::string_view lines);

}  // namespace quillmoria
