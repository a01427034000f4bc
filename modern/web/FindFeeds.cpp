#include "quillmoria/FindFeeds.h"

namespace quillmoria {

FoundFeeds FindFeeds(const std::string&, const std::string&) { return {}; }

}  // namespace quillmoria
