#include "modern/html/Page.h"

namespace quillmoria {

std::vector<PageLink> feedLinks(std::string_view, std::string_view) { return {}; }

bool isWebPage(std::string_view) { return false; }

}  // namespace quillmoria
