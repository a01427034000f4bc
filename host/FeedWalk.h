#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "OutlineWalk.h"
#include "quillmoria/OPML.h"

namespace quillmoria {

// So that a list of many levels with long labels cannot grow beyond all bounds when each feed gets its path.
inline constexpr std::size_t kMaxPathLabels = 8;

/// `text` as the label of an outline: one line of at most 200 bytes without user information in addresses.
std::string labelFrom(std::string_view text);

/// What an outline is called, as a label.
std::string labelOf(const OPMLDoc::OutlineStruct& outline);

/// The category of what stands in the containers of these labels: "News / Europe".
std::string categoryOf(const std::vector<std::string>& path);

/// The labels of the containers that a category stands for, at most eight.
std::vector<std::string> pathOf(const std::string& category);

/// Goes over the feeds of a list in document order.
///
///     FeedWalk walk(list);
///     while (const OPMLDoc::OutlineStruct* feed = walk.next()) show(categoryOf(walk.path()), labelOf(*feed));
class FeedWalk {
 public:
  /// `list` must outlive the walk.
  explicit FeedWalk(const OPMLDoc& list) : walk_(list) {}

  /// The next outline with a feed's address; null after the last.
  const OPMLDoc::OutlineStruct* next();

  /// The labels of the containers around the feed that `next` returned, the outermost eight; some may be empty.
  const std::vector<std::string>& path() const { return path_; }

 private:
  OutlineWalk walk_;
  std::vector<std::string> path_;
  const OPMLDoc::OutlineStruct* last_ = nullptr;
};

}  // namespace quillmoria
