#include "WebAddress.h"

#include <algorithm>

namespace quillmoria {
namespace {

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::string_view kSchemeEnd = "://";

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

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
  std::string address(text);
  std::transform(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(schemeEnd), address.begin(), lowered);
  for (std::string_view scheme : {"http://", "https://"}) {
    if (address.starts_with(scheme) && address.size() > scheme.size() && address[scheme.size()] != '/') return address;
  }
  return std::nullopt;
}

}  // namespace quillmoria
