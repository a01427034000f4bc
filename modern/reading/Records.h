#pragma once

#include <memory>
#include <string_view>

#include "modern/reading/Document.h"
#include "quillmoria/RSSObject.h"

namespace quillmoria {

/// The feed object of a document that came from `url`: texts made plain or safe, addresses absolute. Consumes the
/// document. Linear in its size. Throws std::bad_alloc.
std::unique_ptr<RSSObject> makeRecords(Document document, std::string_view url);

}  // namespace quillmoria
