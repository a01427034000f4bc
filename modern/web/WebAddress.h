#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Url.h"

namespace quillmoria {

/// An address as a user writes it.
struct WebAddress {
  WebUrl url;                      ///< without user name and password
  std::optional<WebUrl> plainUrl;  ///< asked where no TLS answers; only of an address without a scheme
  std::string userName;            ///< those that stood in the address
  std::string password;

  /// What tells the address from others.
  std::string key() const;

  /// Nothing for what is no web address. Without a scheme it is taken for https; "feed:" before it goes.
  static std::optional<WebAddress> parse(std::string_view text);
};

}  // namespace quillmoria
