#pragma once

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

/// The first pane: everything, what is unread or starred, then the subscriptions as a tree of categories.
void writeFeedsPane(HtmlWriter& html, PageData& data);

}  // namespace quillmoria
