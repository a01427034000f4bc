#include "quillmoria/ParseFeed.h"

#include "modern/reading/ReadFeed.h"

namespace quillmoria {

std::unique_ptr<RSSObject> ParseFeed(std::string_view document, std::string_view contentType, std::string_view url) {
  return readFeed(document, contentType, url).news;
}

}  // namespace quillmoria
