#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmoria {

/// `url` as a browser is given it: an http or https address without user information, in which what no address may
/// hold stands as %XX. None if it is no such address.
std::optional<std::string> browserAddress(std::string_view url);

/// Opens `address`, one of browserAddress, in the browser that $BROWSER names, or else by xdg-open, and waits for what
/// was started to end. Throws Failure if there is none or it fails.
void openInBrowser(const std::string& address);

}  // namespace quillmoria
