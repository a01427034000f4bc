#pragma once

#include <cstddef>
#include <string_view>

#include "TextLayout.h"

namespace quillmoria {

/// Writes what a reader sees of `html` to `sink`, in lines of `columns` columns where words can be parted: paragraphs,
/// lists, quotes, preformatted text and tables, links with numbers and their addresses at the end. `html` is what the
/// engine gives for safe; whatever else it may be, it does no harm. Takes time in proportion to it.
void writeArticle(std::string_view html, std::size_t columns, const LineSink& sink);

}  // namespace quillmoria
