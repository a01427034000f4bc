#include "platform/curl/ProxyAddress.h"

#include <curl/curl.h>

#include <memory>
#include <utility>

#include "platform/CInternetException.h"

namespace quillmoria {
namespace {

struct Release {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};
using Url = std::unique_ptr<CURLU, Release>;

[[noreturn]] void refuse() { throw CInternetException("The proxy's address is invalid"); }

Url parse(const std::string& text) {
  Url url(curl_url());
  if (!url) throw CInternetException("Out of memory");
  // As libcurl reads proxies itself.
  if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME)) refuse();
  return url;
}

/// Takes the part out of `url`. Empty if it has none.
std::string take(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  curl_url_get(url, part, &text, CURLU_URLDECODE);
  const std::unique_ptr<char, Release> owner(text);
  if (curl_url_set(url, part, nullptr, 0)) refuse();
  return text ? text : "";
}

std::string textOf(CURLU* url) {
  char* text = nullptr;
  if (curl_url_get(url, CURLUPART_URL, &text, 0)) refuse();
  const std::unique_ptr<char, Release> owner(text);
  return text;
}

}  // namespace

ProxyAddress parseProxyAddress(const std::string& text) {
  if (text.empty()) return {};
  const Url url = parse(text);
  if (text.find('@') == std::string::npos) return {text, {}};
  Credentials credentials{take(url.get(), CURLUPART_USER), take(url.get(), CURLUPART_PASSWORD)};
  std::string address = textOf(url.get());
  // Where a character of the password ends the server, the password's end is the path.
  if (address.find('@') != std::string::npos) refuse();
  return {std::move(address), std::move(credentials)};
}

}  // namespace quillmoria
