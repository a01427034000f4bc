#pragma once

#include "reader/HtmlWriter.h"
#include "reader/PageData.h"

namespace quillmoria {

/// What is to be said once, with its undo, and how far the refresh is that is under way.
void writeStatus(HtmlWriter& html, const PageData& data);

}  // namespace quillmoria
