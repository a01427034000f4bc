#pragma once

#include <cstdint>
#include <string_view>

#include "platform/CString.h"

/// Splits an absolute http or https address into the server (an IPv6 address keeps its brackets), the object (all that
/// follows the server, "/" if nothing does) and the port (the scheme's if none is given). The scheme's letter case does
/// not matter. False, with nothing changed, for any other text: another scheme, no server, a port outside 1 to 65535,
/// or a server text with a user name, a space or a control character.
bool AfxParseURL(std::string_view url, CString& server, CString& object, std::uint16_t& port);
