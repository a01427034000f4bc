#pragma once

#include <cstdint>
#include <string_view>

#include "platform/CString.h"

/// Splits an absolute http or https address into the server (an IPv6 address keeps its brackets), the object (all that
/// follows the server, "/" if nothing does) and the port (the scheme's if none is given). The scheme's letter case does
/// not matter. False, with nothing changed, for any other text: another scheme, or a server that splitServer refuses.
bool AfxParseURL(std::string_view url, CString& server, CString& object, std::uint16_t& port);

namespace quillmoria {

/// Whether `text` may be a server's name or IPv4 address: not empty, at most 255 bytes, and without those that no host
/// has ('@', '?', '#', '/', ':', a space, a control character and the like). Bytes above 127 are nobody's matter here.
bool isHostName(std::string_view text);

/// Splits "host" or "host:port" and leaves `port` where none is given. A host is a name, an IPv4 address or an IPv6
/// address in brackets. False, with nothing changed, for what is none of these, and for a port outside 1 to 65535.
bool splitServer(std::string_view text, std::string_view& host, std::uint16_t& port);

}  // namespace quillmoria
