#pragma once

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

// What the third pane shows instead of an item.

/// The ways to subscribe, and to take the subscriptions elsewhere.
void writeAddPane(HtmlWriter& html, PageData& data);

/// One subscription: its state, name and category, and how to end it.
void writeSubscribedPane(HtmlWriter& html, PageData& data);

/// The pull under way or the last one, feed by feed, the last feed first.
void writeRefreshPane(HtmlWriter& html, PageData& data);

/// Keys, settings, where things lie.
void writeHelpPane(HtmlWriter& html, PageData& data);

/// Offers the categories that there are to the fields with list="categories".
void writeCategoryNames(HtmlWriter& html, PageData& data);

}  // namespace quillmoria
