#include "reader/Pages.h"

namespace quillmoria {

std::string pageOf(const View&, const PageContext&) { return ""; }

std::string partsOf(std::string_view, const View&, const PageContext&) { return ""; }

std::string articleOf(std::int64_t, Archives&) { return ""; }

std::string errorPageOf(std::string_view) { return ""; }

std::string strangerPage() { return ""; }

}  // namespace quillmoria
