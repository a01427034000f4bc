#include "platform/AfxParseURL.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "platform/Text.h"

namespace {

struct Scheme {
  std::string_view prefix;
  std::uint16_t port;
};
constexpr Scheme kSchemes[] = {{"http://", 80}, {"https://", 443}};

constexpr std::string_view kAddressBytes = "0123456789abcdefABCDEF:.";
constexpr std::string_view kNeverInName = "\"#%/:<>?@[\\]^`{|}\x7f";

bool isBracketedAddress(std::string_view host) {
  return host.size() > 2 && host.front() == '[' && host.back() == ']' &&
         host.substr(1, host.size() - 2).find_first_not_of(kAddressBytes) == std::string_view::npos;
}

std::optional<std::uint16_t> readPort(std::string_view digits) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (error != std::errc() || end != digits.data() + digits.size() || port == 0) return std::nullopt;
  return port;
}

}  // namespace

bool AfxParseURL(std::string_view url, CString& server, CString& object, std::uint16_t& port) {
  for (const Scheme& scheme : kSchemes) {
    if (quillmoria::lowerAscii(url.substr(0, scheme.prefix.size())) != scheme.prefix) continue;

    const std::string_view rest = url.substr(scheme.prefix.size());
    const std::size_t serverSize = std::min(rest.find_first_of("/?#"), rest.size());
    std::string_view host;
    std::uint16_t itsPort = scheme.port;
    if (!quillmoria::splitServer(rest.substr(0, serverSize), host, itsPort)) return false;
    server = host;
    object = serverSize < rest.size() ? rest.substr(serverSize) : "/";
    port = itsPort;
    return true;
  }
  return false;
}

namespace quillmoria {

bool isHostName(std::string_view text) {
  constexpr std::size_t kMaxBytes = 255;
  return !text.empty() && text.size() <= kMaxBytes && std::ranges::none_of(text, [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || kNeverInName.find(c) != std::string_view::npos;
  });
}

bool splitServer(std::string_view text, std::string_view& host, std::uint16_t& port) {
  // The colons of an IPv6 address stand before its bracket.
  const std::size_t colon = text.find(':', text.starts_with('[') ? std::min(text.find(']'), text.size()) : 0);
  const std::string_view name = text.substr(0, colon);
  if (!isHostName(name) && !isBracketedAddress(name)) return false;
  if (colon != std::string_view::npos) {
    const std::optional<std::uint16_t> given = readPort(text.substr(colon + 1));
    if (!given) return false;
    port = *given;
  }
  host = name;
  return true;
}

}  // namespace quillmoria
