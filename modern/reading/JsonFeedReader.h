#pragma once

#include <string_view>

#include "modern/reading/Document.h"

namespace quillmoria {

/// Reads the JSON document `text`, in UTF-8, into `document`, whose format stays empty if it is no feed. One with a
/// fault counts up to there: an item is there once its object is complete. So does one that holds more text than is
/// kept. Nesting takes no stack.
void readJsonFeed(std::string_view text, Document& document);

}  // namespace quillmoria
