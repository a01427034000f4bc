#include <memory>
#include <utility>

#include "quillmoria/OPML.h"

void OPMLDoc::HeadStruct::reset() { *this = {}; }

void OPMLDoc::OutlineStruct::reset() {
  const std::int32_t kept = level;
  *this = {};
  level = kept;
}

OPMLDoc::OPMLDoc() = default;

OPMLDoc::OPMLDoc(const OPMLDoc& other) : OPMLDoc() {
  using Outlines = std::vector<OutlineStruct*>;
  struct Siblings {
    const Outlines* from;
    Outlines* to;
    OutlineStruct* parent;
  };
  version = other.version;
  head = other.head;
  for (std::vector<Siblings> left{{&other.outlines, &outlines, nullptr}}; !left.empty();) {
    const auto [from, to, parent] = left.back();
    left.pop_back();
    to->reserve(from->size());
    for (const OutlineStruct* original : *from) {
      auto copy = std::make_unique<OutlineStruct>(*original);
      copy->children.clear();
      copy->parent = original->parent ? parent : nullptr;
      if (original == other.lastOutline) lastOutline = copy.get();
      if (!original->children.empty()) left.push_back({&original->children, &copy->children, copy.get()});
      to->push_back(copy.release());
    }
  }
}

OPMLDoc& OPMLDoc::operator=(const OPMLDoc& other) {
  OPMLDoc copy(other);
  std::swap(version, copy.version);
  std::swap(head, copy.head);
  std::swap(outlines, copy.outlines);
  std::swap(lastOutline, copy.lastOutline);
  return *this;
}

OPMLDoc::~OPMLDoc() {
  for (OutlineStruct* outline : outlines) DeleteChildren(outline);
}

/// Frees `outline` and all below it, children first. The way back up and the count of children done stand in the
/// outlines themselves, so that freeing a tree of any depth takes no memory.
void OPMLDoc::DeleteChildren(OutlineStruct* outline) {
  outline->parent = nullptr;
  outline->level = 0;
  while (outline) {
    const auto done = static_cast<std::size_t>(outline->level);
    if (done < outline->children.size()) {
      OutlineStruct* const child = outline->children[done];
      ++outline->level;
      child->parent = outline;
      child->level = 0;
      outline = child;
    } else {
      delete std::exchange(outline, outline->parent);
    }
  }
}
