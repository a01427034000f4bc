#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// What a user types to search (ItemQuery::words), as an expression of FTS5 that is valid whatever the bytes. Empty
/// where there is nothing to search for. Of very long texts only the beginning counts.
std::string searchExpression(std::string_view words);

}  // namespace quillmoria
