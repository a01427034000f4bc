#include "modern/reading/Encoding.h"

namespace quillmoria {

DecodedText decodeDocument(std::string_view document, std::string_view) { return {document, {}, false}; }

}  // namespace quillmoria
