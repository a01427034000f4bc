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

bool isAlphanumeric(char c) { return (lowered(c) >= 'a' && lowered(c) <= 'z') || (c >= '0' && c <= '9'); }

}  // namespace

bool hasScheme(std::string_view text) {
  const std::size_t end = text.find(kSchemeEnd);
  return end != std::string_view::npos && end > 0 &&
         std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), isAlphanumeric);
}

std::optional<std::string> webAddress(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return std::nullopt;
  text = text.substr(first, text.find_last_not_of(kSpace) - first + 1);

  const std::size_t schemeEnd = text.find(kSchemeEnd);
  if (schemeEnd == std::string_view::npos) return std::nullopt;
  const std::string_view server = serverOf(text.substr(schemeEnd + kSchemeEnd.size()));
  if (server.empty() || server.find('@') != std::string_view::npos) return std::nullopt;
  std::string address(text);
  std::transform(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(schemeEnd), address.begin(), lowered);
  if (!address.starts_with("http://") && !address.starts_with("https://")) return std::nullopt;
  return address;
}

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
