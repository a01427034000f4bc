#include "platform/curl/ResponseHead.h"

#include <algorithm>
#include <utility>

#include "platform/CInternetException.h"
#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxHeaderBytes = std::size_t{256} * 1024;

/// Whether the body comes in a coding that nobody has asked for. libcurl would undo it, however large the body grows
/// between two codings, before anybody can stop it.
bool isForeignCoding(std::string_view headerLine) {
  if (lowerAscii(nameOf(headerLine)) != "transfer-encoding") return false;
  std::string coding = lowerAscii(headerLine.substr(headerLine.find(':') + 1));
  std::erase_if(coding, [](char c) { return c == ' ' || c == '\t'; });
  return coding != "chunked" && coding != "identity";
}

}  // namespace

std::string_view withoutLineEnd(std::string_view line) {
  while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string_view nameOf(std::string_view headerLine) { return headerLine.substr(0, headerLine.find(':')); }

std::vector<std::string> contentCodings(std::string_view headerLines) {
  std::vector<std::string> codings;
  while (!headerLines.empty()) {
    const std::string_view line = headerLines.substr(0, headerLines.find('\n'));
    headerLines.remove_prefix(std::min(line.size() + 1, headerLines.size()));
    if (lowerAscii(nameOf(line)) != "content-encoding") continue;
    std::string value = lowerAscii(withoutLineEnd(line.substr(std::min(line.find(':') + 1, line.size()))));
    std::erase_if(value, [](char c) { return c == ' ' || c == '\t'; });
    for (std::string_view rest = value; !rest.empty();) {
      const std::string_view coding = rest.substr(0, rest.find(','));
      rest.remove_prefix(std::min(coding.size() + 1, rest.size()));
      if (!coding.empty() && coding != "identity") codings.emplace_back(coding);
    }
  }
  return codings;
}

void ResponseHead::count(std::size_t bytes) {
  bytes_ += bytes;
  if (bytes_ > kMaxHeaderBytes) {
    throw CInternetException("The header lines are too large", ERROR_HTTP_INVALID_SERVER_RESPONSE);
  }
}

void ResponseHead::add(std::string_view line) {
  const std::string_view text = withoutLineEnd(line);
  if (isForeignCoding(text)) {
    throw CInternetException("The transfer coding is unknown", ERROR_HTTP_INVALID_SERVER_RESPONSE);
  }
  if (std::exchange(isEnded_, text.empty())) lines_.clear();
  if (!text.empty()) lines_.append(text).append("\r\n");
}

}  // namespace quillmoria
