#include "quillmoria/NewsDetails.h"

#include <cstddef>
#include <iterator>

namespace quillmoria {
namespace {

constexpr std::string_view kOutcomeNames[] = {
    "Fetched",     "NotModified", "NotAsked",     "Offline",  "Denied",   "NotFound", "Gone",      "RateLimited",
    "ServerError", "HttpError",   "NetworkError", "TlsError", "TooLarge", "NotAFeed", "Malformed", "NoMemory",
};

}  // namespace

std::string_view OutcomeName(Outcome outcome) {
  const auto at = static_cast<std::size_t>(outcome);
  return at < std::size(kOutcomeNames) ? kOutcomeNames[at] : std::string_view();
}

}  // namespace quillmoria
