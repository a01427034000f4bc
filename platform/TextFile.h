#pragma once

#include <cstddef>
#include <string>

namespace quillmoria {

enum class PathForm {
  Engine,  ///< one of the engine's own files, as CFile takes it, that the user makes: its name may be a link's
  Host,    ///< any path of the system
};

/// What a text stream reads of a file: a carriage return before a line feed belongs to the line end and is dropped.
struct TextFile {
  enum class End {
    Whole,
    Missing,      ///< there is no file
    NotReadable,  ///< there is one, or something else, that cannot be read to its end
  };

  std::string text;  ///< what was read, however that ended
  End end = End::NotReadable;
};

/// Reads the regular file at `path`. One above `maxBytes` cannot be read, and gives no text.
TextFile readTextFile(const std::string& path, PathForm form, std::size_t maxBytes);

}  // namespace quillmoria
