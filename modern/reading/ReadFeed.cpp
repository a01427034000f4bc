#include "modern/reading/ReadFeed.h"

namespace quillmoria {

ReadFeed readFeed(std::string_view, std::string_view, std::string_view) {
  return {std::make_unique<RSSObject>(RSSObject::ChannelStruct(), nullptr, -1), {}};
}

}  // namespace quillmoria
