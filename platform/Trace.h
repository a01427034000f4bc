#pragma once

namespace quillmoria {

/// Writes a text by a `printf` pattern to standard error if QUILLMORIA_TRACE is set, in debug builds; nothing in
/// release builds.
#ifdef NDEBUG
inline void trace(const char*, ...) {}
#else
[[gnu::format(printf, 1, 2)]] void trace(const char* format, ...);
#endif

}  // namespace quillmoria
