#include "WebAddress.h"

#include <algorithm>

namespace quillmoria {
namespace {

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::string_view kSchemeEnd = "://";

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The part of an address between its scheme and its path.
std::string_view serverOf(std::string_view afterScheme) {
  return afterScheme.substr(0, afterScheme.find_first_of("/?#"));
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isAlphanumeric(char c) { return (lowered(c) >= 'a' && lowered(c) <= 'z') || isDigit(c); }

bool isBeyondAscii(char c) { return static_cast<unsigned char>(c) >= 0x80; }

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

/// Whether `text` begins with the name of a server and perhaps a port, as in "example.org:8080/news", and not with
/// another scheme, as in "mailto:me@example.org".
bool beginsWithServer(std::string_view text) {
  const std::string_view server = serverOf(text);
  const std::string_view name = server.substr(0, server.find(':'));
  const std::string_view port = server.substr(std::min(name.size() + 1, server.size()));
  return !name.empty() && (isAlphanumeric(name.front()) || isBeyondAscii(name.front())) &&
         std::all_of(
             name.begin(), name.end(),
             [](char c) { return isAlphanumeric(c) || isBeyondAscii(c) || c == '.' || c == '-' || c == '_'; }) &&
         std::all_of(port.begin(), port.end(), isDigit) && (port.empty() == (name.size() == server.size()));
}

}  // namespace

bool hasScheme(std::string_view text) {
  const std::size_t end = text.find(kSchemeEnd);
  return end != std::string_view::npos && end > 0 &&
         std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), isAlphanumeric);
}

std::optional<std::string> webAddress(std::string_view text, Profile profile) {
  text = trimmed(text);
  const std::size_t schemeEnd = text.find(kSchemeEnd);
  if (schemeEnd == std::string_view::npos) return std::nullopt;
  const std::string_view server = serverOf(text.substr(schemeEnd + kSchemeEnd.size()));
  if (server.substr(server.rfind('@') + 1).empty()) return std::nullopt;
  if (profile == Profile::Classic && server.find('@') != std::string_view::npos) return std::nullopt;
  std::string address(text);
  std::transform(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(schemeEnd), address.begin(), lowered);
  if (!address.starts_with("http://") && !address.starts_with("https://")) return std::nullopt;
  return address;
}

std::optional<std::string> typedAddress(std::string_view text, Profile profile) {
  if (profile == Profile::Modern && beginsWithServer(trimmed(text))) return std::string(trimmed(text));
  return webAddress(text, profile);
}

std::string shownAddress(std::string_view typed) {
  if (hasScheme(typed)) return withoutUserInformation(typed);
  return withoutUserInformation(std::string(kSchemeEnd).append(typed)).substr(kSchemeEnd.size());
}

std::string addressKey(std::string_view url) {
  const std::string shown = shownAddress(trimmed(url));
  std::string_view rest = shown;
  rest.remove_prefix(hasScheme(rest) ? rest.find(kSchemeEnd) + kSchemeEnd.size() : 0);
  rest = rest.substr(0, rest.find('#'));
  std::string_view server = serverOf(rest);
  std::string_view target = rest.substr(server.size());
  for (const std::string_view port : {":80", ":443"}) {
    if (server.ends_with(port)) server.remove_suffix(port.size());
  }
  std::string key(server);
  std::transform(key.begin(), key.end(), key.begin(), lowered);
  if (!target.starts_with('/')) key += '/';
  if (target.ends_with('?')) target.remove_suffix(1);
  return key.append(target);
}

bool hasUserInformation(std::string_view url) { return withoutUserInformation(url) != url; }

std::string withoutUserInformation(std::string_view text) {
  std::string rest;
  for (std::size_t end; (end = text.find(kSchemeEnd)) != std::string_view::npos;) {
    const std::size_t serverStart = end + kSchemeEnd.size();
    rest += text.substr(0, serverStart);
    text.remove_prefix(serverStart);
    const std::size_t at = serverOf(text).rfind('@');
    if (at != std::string_view::npos) text.remove_prefix(at + 1);
  }
  return rest.append(text);
}

}  // namespace quillmoria
