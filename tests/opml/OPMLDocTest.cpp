#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

#include "opml/Dump.h"
#include "quillmoria/OPML.h"

using Outline = OPMLDoc::OutlineStruct;

namespace {

Outline* labelled(const char16_t* text, Outline* parent = nullptr) {
  auto* const outline = new Outline;
  outline->text = text;
  outline->parent = parent;
  outline->level = parent ? parent->level + 1 : 0;
  return outline;
}

}  // namespace

TEST(OPMLDocument, HasATreeOfItsOwnInEveryCopy) {
  std::optional<OPMLDoc> original(std::in_place);
  original->version = "1.1";
  original->head.windowTop = 5;
  Outline* const top = labelled(u"A");
  original->outlines = {top, labelled(u"C")};
  top->children = {labelled(u"B", top), labelled(u"W")};
  original->lastOutline = top->children[0];

  const OPMLDoc copy(*original);
  OPMLDoc assigned;
  assigned.outlines = {new Outline};
  assigned = *original;
  original.reset();
  for (const OPMLDoc* document : std::initializer_list<const OPMLDoc*>{&copy, &assigned}) {
    EXPECT_EQ(dump(*document), "version=1.1 top=5 | A(B W*) C");
    EXPECT_EQ(document->lastOutline, document->outlines[0]->children[0]);
  }
}

TEST(OPMLDocument, ResetsRecordsToTheirStartValues) {
  Outline child, outline;
  outline = {&child, {&child}, 3, u"t", "type", "x", "u", u"d", CTime(1)};
  const Outline copy(outline);
  outline.reset();
  EXPECT_EQ(dump({&outline}), "*");
  EXPECT_EQ(outline.level, 3);
  EXPECT_EQ(outline.children.size(), 0u);
  EXPECT_EQ(copy.children, std::vector{&child});

  OPMLDoc document;
  document.head = {u"t", CTime(1), CTime(1), u"o", u"e", "x", 1, 2, 3, 4, 5};
  document.head.reset();
  EXPECT_EQ(dump(document), " | ");
}

TEST(OPMLOutlineNode, KnowsTheParentItWasGiven) {
  OPMLOutline root(nullptr), node(&root);
  node.data = 7;
  const OPMLOutline copy(node);
  EXPECT_EQ(root.GetParent(), nullptr);
  EXPECT_EQ(copy.GetParent(), &root);
  EXPECT_EQ(copy.data, 7);
}
