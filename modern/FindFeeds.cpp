#include "quillmoria/FindFeeds.h"

#include <exception>
#include <optional>
#include <utility>

#include "modern/archive/HostLimits.h"
#include "modern/web/FeedSearch.h"
#include "net/FetchCall.h"

namespace quillmoria {
namespace {

FoundFeeds failed(std::string text, Outcome outcome) { return {{}, std::move(text), outcome}; }

}  // namespace

FoundFeeds FindFeeds(const std::string& url, const std::string& baseFolder) {
  const FetchCall call;
  try {
    std::optional<WebAddress> page = WebAddress::parse(url);
    if (!page) return failed("This is no web address", Outcome::NetworkError);
    const SharedLimits limits(baseFolder);
    return searchFeeds(std::move(*page), baseFolder);
  } catch (const std::exception&) {
    return failed("Out of memory", Outcome::NoMemory);
  }
}

}  // namespace quillmoria
