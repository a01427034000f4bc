#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "quillmoria/OPML.h"

namespace quillmoria {

/// Goes over all outlines of a list in document order, without recursion, since lists may nest without end.
///
///     OutlineWalk walk(list);
///     while (const OPMLDoc::OutlineStruct* outline = walk.next()) show(*outline, walk.depth());
class OutlineWalk {
 public:
  /// `list` must outlive the walk.
  explicit OutlineWalk(const OPMLDoc& list) { stack_.emplace_back(&list.outlines, 0); }

  /// The next outline; null after the last.
  const OPMLDoc::OutlineStruct* next() {
    if (last_ && !last_->children.empty()) stack_.emplace_back(&last_->children, 0);
    while (!stack_.empty() && stack_.back().second == stack_.back().first->size()) stack_.pop_back();
    last_ = stack_.empty() ? nullptr : (*stack_.back().first)[stack_.back().second++];
    return last_;
  }

  /// How many outlines enclose the one that `next` returned.
  std::size_t depth() const { return stack_.size() - 1; }

 private:
  std::vector<std::pair<const std::vector<OPMLDoc::OutlineStruct*>*, std::size_t>> stack_;
  const OPMLDoc::OutlineStruct* last_ = nullptr;
};

}  // namespace quillmoria
