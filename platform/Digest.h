#pragma once

#include <string>
#include <string_view>

namespace quillmoria {

/// SHA-256 of `bytes` in hexadecimal, 64 lower-case digits. Any thread. Throws std::bad_alloc.
std::string sha256(std::string_view bytes);

}  // namespace quillmoria
