#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

/// The absolute form of `reference`, an address as documents write it (RFC 3986, section 5): white space around it
/// goes, line breaks and tabs in it too, spaces are encoded. One that has a scheme, of whatever kind, is else left as
/// it is; any other is resolved against `base`, and gives nothing if that is no http or https address. Empty for an
/// empty reference.
std::string absoluteUrl(std::string_view reference, std::string_view base);

/// The scheme of `url` in lower case, as in "https"; empty if it has none.
std::string schemeOf(std::string_view url);

/// An http or https address that can be asked.
struct WebUrl {
  bool isSecure = false;
  std::string host;  ///< in lower case; an IPv6 address has its brackets
  std::uint16_t port = 80;
  std::string object;  ///< path and query, from the "/" on
  std::string userName;
  std::string password;

  /// "https://host", with the port where it is not the scheme's own.
  std::string origin() const;

  /// The address without user name, password and fragment.
  std::string text() const;

  /// The parts of `text` as libcurl normalises them: white space around it goes, the scheme and the host may be in any
  /// letter case, dot segments are resolved, the fragment goes. Nothing for what is no http or https address.
  static std::optional<WebUrl> parse(std::string_view text);
};

}  // namespace quillmoria
