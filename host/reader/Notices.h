#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "quillmoria/NewsArchive.h"

namespace quillmoria {

/// Something to be said to the user once, and what takes it back.
struct Notice {
  std::string text;                  ///< plain, from whomever: "12 items marked as read"
  bool isFailure = false;            ///< whether something did not work
  std::vector<std::int64_t> ids{};   ///< of the items that were marked; empty: there is nothing to undo
  ItemMark undo = ItemMark::Unread;  ///< how to mark them to take it back
};

/// The last notices by number, so that addresses hold no texts. Any thread.
class Notices {
 public:
  /// Keeps `notice` and returns its number, above 0.
  std::int64_t add(Notice notice);

  /// The notice of that number; nothing if there is none or it is too old.
  std::optional<Notice> find(std::int64_t number) const;

 private:
  mutable std::mutex mutex_;
  std::deque<Notice> last_;
  std::int64_t lastNumber_ = 0;
};

}  // namespace quillmoria
