#include "modern/web/WebAddress.h"

#include <utility>

#include "modern/web/ResponseFields.h"
#include "platform/Text.h"

namespace quillmoria {
namespace {

/// "feed://example.org" and "feed:https://example.org" are how pages hand addresses to feed readers.
std::string_view withoutFeedScheme(std::string_view text) {
  constexpr std::string_view kScheme = "feed:";
  if (lowerAscii(text.substr(0, kScheme.size())) != kScheme) return text;
  const bool isPort = text.size() > kScheme.size() && text[kScheme.size()] >= '0' && text[kScheme.size()] <= '9';
  return isPort ? text : text.substr(kScheme.size());
}

/// A name and a port ("example.org:8080") look like a scheme, too.
bool hasScheme(std::string_view text) {
  const std::string scheme = schemeOf(text);
  return !scheme.empty() && (scheme == "http" || scheme == "https" || text.substr(scheme.size()).starts_with("://"));
}

}  // namespace

std::string WebAddress::key() const { return plainUrl ? url.text().substr(url.text().find("//")) : url.text(); }

std::optional<WebAddress> WebAddress::parse(std::string_view text) {
  text = withoutFeedScheme(withoutBlanks(text));
  WebAddress address;
  std::optional<WebUrl> url;
  if (hasScheme(text)) {
    url = WebUrl::parse(text);
  } else {
    if (text.starts_with("//")) text.remove_prefix(2);
    if (text.empty() || text.starts_with('/')) return std::nullopt;
    url = WebUrl::parse("https://" + std::string(text));
    address.plainUrl = WebUrl::parse("http://" + std::string(text));
    if (!address.plainUrl) return std::nullopt;
    address.plainUrl->userName.clear();
    address.plainUrl->password.clear();
  }
  if (!url) return std::nullopt;
  address.userName = std::exchange(url->userName, "");
  address.password = std::exchange(url->password, "");
  address.url = std::move(*url);
  return address;
}

}  // namespace quillmoria
