#pragma once

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

/// Begins the third pane, and calls the page `title` unless that is empty; who calls closes the "section".
void openThirdPane(HtmlWriter& html, PageData& data, Markup cssClass, std::string_view title);

/// What leads from the third pane back to the list.
void writeWayBack(HtmlWriter& html, const PageData& data);

/// The third pane with the item of the view: what is known of it around the frame with its text. Without an item what
/// to do next.
void writeArticlePane(HtmlWriter& html, PageData& data);

}  // namespace quillmoria
