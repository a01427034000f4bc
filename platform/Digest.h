#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quillmoria {

/// SHA-256 of `bytes` in hexadecimal, 64 lower-case digits. Any thread. Throws std::bad_alloc.
std::string sha256(std::string_view bytes);

/// 64 bits of the SHA-256 of `parts`, which also tells where one ends and the next one begins. Any thread.
std::int64_t digestOf(std::span<const std::string_view> parts);

}  // namespace quillmoria
