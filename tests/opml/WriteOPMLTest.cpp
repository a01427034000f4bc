#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "quillmoria/OPML.h"
#include "support/Dump.h"
#include "support/TemporaryFolder.h"

namespace {

using OutlineStruct = OPMLDoc::OutlineStruct;

/// Lists, written to a file that our own parser and a foreign one read.
class OPMLWriting : public testing::Test {
 protected:
  const OPMLDoc& readBack(const OPMLDoc& list) {
    folder.write("list.opml", WriteOPML(list));
    parser.ParseFromFile((folder / "list.opml").string());
    return *parser.GetOPMLDoc();
  }

  /// What python's expat makes of the file: the attribute `name` of all outlines, after one another.
  std::string foreignReading(const std::string& name) {
    const std::string command = "python3 -c 'import sys, xml.etree.ElementTree as tree\nfor outline in tree.parse(\"" +
                                (folder / "list.opml").string() + "\").iter(\"outline\"): sys.stdout.buffer.write(" +
                                "outline.get(\"" + name + "\", \"\").encode())' > '" + (folder / "read").string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::ifstream read(folder / "read");
    return {std::istreambuf_iterator<char>(read), {}};
  }

  TemporaryBaseFolder folder;
  OPMLParser parser{folder.name()};
};

OutlineStruct* add(std::vector<OutlineStruct*>& siblings, const std::u16string& text, const std::string& xmlUrl = "") {
  siblings.push_back(new OutlineStruct);
  siblings.back()->text = text;
  siblings.back()->xmlUrl = xmlUrl;
  return siblings.back();
}

}  // namespace

TEST_F(OPMLWriting, KeepsWhatTheParserReads) {
  OPMLDoc list;
  list.head = {
      u"Tom & <I>", CTime(1'000'000'000), CTime(1'700'000'000), u"O", u"o@example.org", "1,2", -1, 1, 2, 3, -4};
  OutlineStruct* const news = add(list.outlines, u"A / B");
  OutlineStruct* const feed =
      add(news->children, u"\"One\"\t\n\r 'x'  y > z \u05D0\u202E", "http://example.org/?a=1&b=2");
  feed->parent = news;
  feed->level = 1;
  feed->url = "http://example.org/";
  feed->description = u"wo rds ";
  feed->dateCreated = CTime(1'200'000'000);
  add(list.outlines, u"", "not UTF-8: \xFF");
  const OPMLDoc& read = readBack(list);
  EXPECT_EQ(read.outlines[0]->children[0]->type, "rss");
  EXPECT_EQ(read.outlines[1]->xmlUrl, "not UTF-8: \xEF\xBF\xBD");
  feed->type = list.outlines[1]->type = "rss";
  list.outlines[1]->xmlUrl = read.outlines[1]->xmlUrl;
  EXPECT_EQ(dump(read), dump(list)) << WriteOPML(list);
  EXPECT_EQ(foreignReading("htmlUrl"), "http://example.org/");
}

TEST_F(OPMLWriting, LeavesWhatXmlHasNoFormOf) {
  OPMLDoc list;
  add(list.outlines, std::u16string(u"a\0b\x1B\xFFFE\xD800", 6));
  readBack(list);
  EXPECT_EQ(foreignReading("text"), "a\uFFFDb\uFFFD\uFFFD\uFFFD");
}

TEST_F(OPMLWriting, BreaksLinesThatAParserOfLinesWouldBreakElsewhere) {
  std::u16string words, ideographs;
  for (int i = 0; i < 60'000; ++i) words += u"\u4E2D \U0001F600<word> ";
  for (int i = 0; i < 300'000; ++i) ideographs += u"\u4E2D&";
  OPMLDoc list;
  add(list.outlines, words, "http://example.org/" + std::string(1300, 'a'));
  add(add(list.outlines, ideographs)->children, u"after it", "http://example.org/");
  const OPMLDoc& read = readBack(list);
  EXPECT_TRUE(read.outlines[0]->text == words);
  EXPECT_TRUE(read.outlines[0]->xmlUrl == list.outlines[0]->xmlUrl);
  std::u16string withoutSpaces = read.outlines.at(1)->text;
  std::erase(withoutSpaces, u' ');
  EXPECT_TRUE(withoutSpaces == ideographs);
  EXPECT_EQ(read.outlines[1]->children.at(0)->xmlUrl, "http://example.org/");
  EXPECT_TRUE(foreignReading("text") == readable(words) + readable(ideographs) + "after it");
}

TEST_F(OPMLWriting, BearsAMillionLevels) {
  OPMLDoc list;
  auto* siblings = &list.outlines;
  for (int i = 0; i < 1'000'000; ++i) siblings = &add(*siblings, u"")->children;
  int levels = 0;
  for (const auto* read = &readBack(list).outlines; !read->empty(); read = &read->front()->children) ++levels;
  EXPECT_EQ(levels, 999'998);  // with the two elements around them, as deep as the parser goes
}
