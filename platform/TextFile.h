#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace quillmoria {

enum class PathForm {
  Engine,  ///< one of the engine's own files, as CFile takes it
  Host,    ///< any path of the system
};

/// The content of the regular file at `path` as a text stream reads it: a carriage return before a line feed belongs to
/// the line end and is dropped. Nothing if the file cannot be opened and read, is not a regular file, or holds more
/// than `maxBytes`. For one of the engine's own throws std::system_error where descriptors or memory lack.
std::optional<std::string> readTextFile(const std::string& path, PathForm form, std::size_t maxBytes);

}  // namespace quillmoria
