#include <cstdlib>
#include <initializer_list>

#include "platform/InternetQueryOption.h"

namespace {

/// The first of the variables `names` that is set and not empty.
std::string firstOf(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (const char* value = std::getenv(name); value && *value) return value;
  }
  return "";
}

/// `address` as a list of addresses can hold it, in which a space ends one.
std::string withoutSpaces(const std::string& address) {
  std::string encoded;
  for (const char c : address) c == ' ' ? encoded += "%20" : encoded += c;
  return encoded;
}

}  // namespace

std::optional<SystemProxy> InternetQueryProxy() {
  // HTTP_PROXY in capitals is left alone: a web server sets it from a header line of whoever calls its scripts.
  const std::string http = firstOf({"http_proxy", "all_proxy", "ALL_PROXY"});
  const std::string https = firstOf({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  if (http.empty() && https.empty()) return std::nullopt;
  return SystemProxy{"http=" + withoutSpaces(http) + " https=" + withoutSpaces(https),
                     firstOf({"no_proxy", "NO_PROXY"})};
}
