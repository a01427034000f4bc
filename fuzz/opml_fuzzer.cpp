#include <algorithm>
#include <utility>
#include <vector>

#include "Fuzzing.h"
#include "quillmoria/OPML.h"

namespace {

using Outlines = std::vector<OPMLDoc::OutlineStruct*>;

/// Walks a tree and its copy side by side.
void requireEqualTrees(const OPMLDoc& list, const OPMLDoc& copy) {
  require((list.lastOutline == nullptr) == (copy.lastOutline == nullptr));
  for (std::vector<std::pair<const Outlines*, const Outlines*>> left{{&list.outlines, &copy.outlines}};
       !left.empty();) {
    const auto [originals, copies] = left.back();
    left.pop_back();
    require(originals->size() == copies->size());
    for (std::size_t i = 0; i < originals->size(); ++i) {
      const OPMLDoc::OutlineStruct& original = *(*originals)[i];
      const OPMLDoc::OutlineStruct& its = *(*copies)[i];
      require(&original != &its && original.text == its.text && original.xmlUrl == its.xmlUrl);
      require(its.level == original.level && its.level == (its.parent ? its.parent->level + 1 : its.level));
      require(!its.parent || std::ranges::count(its.parent->children, &its) == 1);
      require((&original == list.lastOutline) == (&its == copy.lastOutline));
      left.emplace_back(&original.children, &its.children);
    }
  }
}

}  // namespace

/// A list in a file, its tree, and a copy that outlives it.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  baseFolder().write("list.opml", textOf(data, size));
  OPMLParser parser(baseFolder().name());
  parser.ParseFromFile((baseFolder() / "list.opml").string());
  require(parser.status == "OK");
  const OPMLDoc copy(*parser.GetOPMLDoc());
  requireEqualTrees(*parser.GetOPMLDoc(), copy);
  parser.ParseFromFile("");
  OPMLDoc assigned;
  assigned.outlines = {new OPMLDoc::OutlineStruct};
  assigned = copy;
  requireEqualTrees(copy, assigned);
  return 0;
}
