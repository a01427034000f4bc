#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

#include "quillmoria/OPML.h"
#include "support/Dump.h"

using Outline = OPMLDoc::OutlineStruct;

TEST(OPMLDocument, HasATreeOfItsOwnInEveryCopy) {
  std::optional<OPMLDoc> original(std::in_place);
  original->version = "1.1";
  auto* const top = new Outline;
  top->text = u"A";
  top->children = {new Outline(*top), new Outline(*top)};
  top->children[0]->parent = top;
  top->children[0]->level = 1;
  original->outlines = {top};
  original->lastOutline = top->children[0];

  const OPMLDoc copy(*original);
  OPMLDoc assigned;
  assigned.outlines = {new Outline};
  assigned = *original;
  original.reset();
  for (const OPMLDoc* document : {&copy, &std::as_const(assigned)}) {
    EXPECT_EQ(dump(*document), " version=1.1 | A(A A*)");
    EXPECT_EQ(document->lastOutline, document->outlines[0]->children[0]);
  }
}

TEST(OPMLDocument, ResetsRecordsToTheirStartValues) {
  OPMLDoc document;
  document.version = "1.1";
  document.head = {u"t", CTime(1), CTime(1), u"o", u"e", "x", 1, 2, 3, 4, 5};
  document.outlines = {new Outline};
  *document.outlines[0] = {document.outlines[0], {nullptr}, 3, u"t", "type", "x", "u", u"d", CTime(1)};
  document.head.reset();
  document.outlines[0]->reset();
  EXPECT_EQ(dump(document), " version=1.1 | *");
  EXPECT_EQ(document.outlines[0]->level, 3);
}

TEST(OPMLOutlineNode, KnowsTheParentItWasGiven) {
  OPMLOutline root(nullptr), node(&root);
  EXPECT_EQ(root.GetParent(), nullptr);
  EXPECT_EQ(OPMLOutline(node).GetParent(), &root);
}
