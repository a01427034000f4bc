#pragma once

#include <string>

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

/// The first pane: everything, what is unread or starred, then the subscriptions as a tree of categories.
void writeFeedsPane(HtmlWriter& html, PageData& data);

/// How many items the feeds of the view's list have: "12 unread of 300"; empty where that is not known.
std::string countsOf(PageData& data);

}  // namespace quillmoria
