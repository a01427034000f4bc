#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "quillmoria/CPicture.h"

namespace quillmoria {

/// The pictures of feeds as the page shows them: small, drawn anew from the pixels, so that no bytes of strangers reach
/// the browser. Any thread.
class Pictures {
 public:
  /// Keeps the picture of the feed at `url`.
  void keep(const std::string& url, const IPicture& picture);

  /// Whether there is one.
  bool has(const std::string& url) const;

  /// It as a file in the form image/bmp, of 32 x 32 pixels with transparency; nothing if there is none.
  std::optional<std::string> file(const std::string& url) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> files_;  ///< by addressKey
};

}  // namespace quillmoria
