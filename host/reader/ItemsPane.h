#pragma once

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

/// The second pane: a page of the list that the view asks for, with search and filters above it.
void writeItemsPane(HtmlWriter& html, PageData& data);

}  // namespace quillmoria
