#include "platform/Url.h"

#include <curl/urlapi.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <memory>
#include <new>

#include "platform/AfxParseURL.h"
#include "platform/Text.h"

namespace quillmoria {
namespace {

constexpr std::size_t kMaxAddressBytes = 1 << 20;  ///< libcurl says of those of a few MB that memory lacks

struct Release {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};

/// An address in parts. It needs no transfer, so it may be used at any time.
class Parts {
 public:
  Parts() : handle_(curl_url()) {
    if (!handle_) throw std::bad_alloc();
  }

  /// Replaces the address by `text`, which may be relative to it. False, and then there is none, if it is no address.
  bool set(const std::string& text, unsigned flags = 0) {
    if (text.size() > kMaxAddressBytes) return false;
    return check(curl_url_set(handle_.get(), CURLUPART_URL, text.c_str(), flags));
  }

  /// Empty if the address has no such part.
  std::string get(CURLUPart part, unsigned flags = 0) const {
    char* found = nullptr;
    check(curl_url_get(handle_.get(), part, &found, flags));
    const std::unique_ptr<char, Release> owner(found);
    return found ? found : "";
  }

 private:
  static bool check(CURLUcode code) {
    if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
    return code == CURLUE_OK;
  }

  std::unique_ptr<CURLU, Release> handle_;
};

constexpr bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (isSpace(text.front()) || isControl(text.front()))) text.remove_prefix(1);
  while (!text.empty() && (isSpace(text.back()) || isControl(text.back()))) text.remove_suffix(1);
  return text;
}

/// `reference` without what no address holds.
std::string cleaned(std::string_view reference) {
  std::string clean;
  clean.reserve(reference.size());
  for (const char c : trimmed(reference)) {
    if (c == ' ') {
      clean += "%20";
    } else if (!isControl(c)) {
      clean += c;
    }
  }
  return clean;
}

std::string_view schemePart(std::string_view url) {
  const std::size_t end = url.find_first_of(":/?#");
  if (end == std::string_view::npos || url[end] != ':' || end == 0 || !isLetter(url.front())) return {};
  const std::string_view scheme = url.substr(0, end);
  const bool isScheme = std::ranges::all_of(
      scheme, [](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'; });
  return isScheme ? scheme : std::string_view{};
}

bool isWebScheme(std::string_view scheme) { return scheme == "http" || scheme == "https"; }

}  // namespace

std::string schemeOf(std::string_view url) { return lowerAscii(schemePart(trimmed(url))); }

std::string absoluteUrl(std::string_view reference, std::string_view base) {
  std::string relative = cleaned(reference);
  if (relative.empty() || !schemePart(relative).empty()) return relative;
  if (!isWebScheme(schemeOf(base))) return {};
  std::string from = cleaned(base);
  if (relative.front() == '#') {  // libcurl would take it for a path
    from.resize(std::min(from.find('#'), from.size()));
    return from + relative;
  }
  Parts parts;
  if (!parts.set(from) || !parts.set(relative)) return {};
  return parts.get(CURLUPART_URL);
}

std::string WebUrl::origin() const {
  const std::uint16_t usual = isSecure ? 443 : 80;
  return (isSecure ? "https://" : "http://") + host + (port == usual ? "" : ":" + std::to_string(port));
}

std::string WebUrl::text() const { return origin() + object; }

std::optional<WebUrl> WebUrl::parse(std::string_view text) {
  const std::string scheme = schemeOf(text);
  if (!isWebScheme(scheme)) return std::nullopt;
  Parts parts;
  if (!parts.set(cleaned(text), CURLU_URLENCODE)) return std::nullopt;
  WebUrl url;
  url.isSecure = scheme == "https";
  url.host = lowerAscii(parts.get(CURLUPART_HOST));
  const std::string port = parts.get(CURLUPART_PORT, CURLU_DEFAULT_PORT);
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), url.port);
  if (error != std::errc() || url.port == 0) return std::nullopt;
  url.object = parts.get(CURLUPART_PATH);
  if (const std::string query = parts.get(CURLUPART_QUERY); !query.empty()) url.object += "?" + query;
  url.userName = parts.get(CURLUPART_USER, CURLU_URLDECODE);
  url.password = parts.get(CURLUPART_PASSWORD, CURLU_URLDECODE);
  std::string_view name;
  if (!splitServer(url.host, name, url.port)) return std::nullopt;
  return url;
}

}  // namespace quillmoria
