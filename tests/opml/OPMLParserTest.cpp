#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "quillmoria/OPML.h"
#include "support/Corpus.h"
#include "support/Dump.h"
#include "support/LoopbackServer.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

class Recorder : public OPMLSubscriber {
 public:
  explicit Recorder(std::string& events, char mark = ' ') : events_(events), mark_(mark) {}
  void OPMLEventPublished(std::int32_t event) override { events_ += mark_ + std::to_string(event); }

 private:
  std::string& events_;
  char mark_;
};

/// A parser, and files and a server that it can read from.
class OPMLReading : public testing::Test {
 protected:
  OPMLReading() { parser.AddOPMLEventSubscriber(&recorder); }

  const OPMLDoc& readFile(const std::string& bytes) {
    folder.write("list.opml", bytes);
    parser.ParseFromFile((folder / "list.opml").string());
    return *parser.GetOPMLDoc();
  }

  TemporaryBaseFolder folder;
  LoopbackServer server;
  std::string events;
  Recorder recorder{events};
  OPMLParser parser{folder.name()};
};

std::string repeated(std::string_view text, int count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

/// How many outlines there are, each of them in its place; -1 if one is not.
int countPlaced(const OPMLDoc& document) {
  int count = 0;
  for (auto left = document.outlines; !left.empty(); ++count) {
    const OPMLDoc::OutlineStruct* const outline = left.back();
    left.pop_back();
    if (outline->level != (outline->parent ? outline->parent->level + 1 : 0)) return -1;
    left.insert(left.end(), outline->children.begin(), outline->children.end());
  }
  return count;
}

}  // namespace

TEST_F(OPMLReading, MakesTheTreeAndTheHeadOfADocument) {
  std::istringstream cases(readSample("opml/documents.txt"));  // a document on a line, its dump on the next
  for (std::string text, expected; std::getline(cases, text) && std::getline(cases, expected);) {
    EXPECT_EQ(dump(readFile(text)), expected) << text;
  }
  for (const std::string name : {"nested", "cut-off"}) {
    EXPECT_EQ(dump(readFile(readSample("opml/" + name + ".opml"))) + "\n", readSample("opml/" + name + ".txt"));
  }
  EXPECT_EQ(parser.status, "OK");
}

TEST(OPMLRecords, KeepWhatAResetDoesNotName) {
  OPMLDoc document;
  document.version = "1.1";
  document.head = {u"t", CTime(1), CTime(1), u"o", u"e", "x", 1, 2, 3, 4, 5};
  document.outlines = {new OPMLDoc::OutlineStruct};
  *document.outlines[0] = {document.outlines[0], {nullptr}, 3, u"t", "type", "x", "u", u"d", CTime(1)};
  document.head.reset();
  document.outlines[0]->reset();
  EXPECT_EQ(dump(document), " version=1.1 | *");
  EXPECT_EQ(document.outlines[0]->level, 3);
}

TEST_F(OPMLReading, TakesFilesApartIntoLinesAndPieces) {
  const std::string start = "<o><outline text='", end = "'/></o>";
  const auto label = [&](const std::string& bytes) { return dump(readFile(bytes)).substr(3); };
  const std::string filled(1999 - start.size(), 'a'), rest(600, 'b');
  const std::pair<std::string, std::string> cases[] = {
      {"\xEF\xBB\xBF<?xml version='1.0'?>\r\n" + start + "A" + end, "A"},
      {"junk " + start + "A" + end, "A"},
      {"\n" + start + "A" + end, "A"},
      {start + "A\nB\r\nC\rD" + end, "AB C D"},
      {start + filled + std::string(1999, 'b') + rest + end, filled + std::string(1999, 'b') + " " + rest},
      {start + filled + "\n" + rest + end, filled + rest},
      {"<!---->\n" + start + filled + "\n" + rest + end, filled + " " + rest},
  };
  for (const auto& [bytes, expected] : cases) EXPECT_EQ(label(bytes), expected) << bytes.substr(0, 40);
}

TEST_F(OPMLReading, FetchesAndTellsHowItGoes) {
  server.serve("/list", "<opml><outline text='A'/><outline text='B'/></opml>");
  parser.ParseFromURL(server.url("/list"));
  EXPECT_EQ(events + " " + parser.status, " 0 1 2 5 5 5 OK");
  EXPECT_EQ(dump(*parser.GetOPMLDoc()), " version=1.0 | " + server.url("/list") + "(A* B*)");

  const std::string before = dump(*parser.GetOPMLDoc());
  events.clear();
  server.answer("/closed", LoopbackServer::response("401 Unauthorized", "", "<opml/>"));
  parser.ParseFromURL(server.url("/closed"));
  EXPECT_EQ(events + " " + parser.status, " 0 1 2 5 HTTP_STATUS_DENIED");
  EXPECT_EQ(dump(*parser.GetOPMLDoc()), before);

  parser.ParseFromFile(folder.name());
  EXPECT_EQ(dump(*parser.GetOPMLDoc()) + events + " " + parser.status, " |  0 1 2 5 OK");
}

TEST_F(OPMLReading, TellsSubscribersInTheOrderOfTheirRegistration) {
  Recorder second(events, 'b'), third(events, 'c');
  for (OPMLSubscriber* subscriber : {&second, &third, &second}) parser.AddOPMLEventSubscriber(subscriber);
  parser.EventPublished(7);
  parser.RemoveOPMLEventSubscriber(&second);
  parser.EventPublished(0);
  EXPECT_EQ(events, " 4b4c4b4 4c4");
}

TEST_F(OPMLReading, EndsWithWhatASubscriberThrows) {
  struct : OPMLSubscriber {
    void OPMLEventPublished(std::int32_t) override { throw std::runtime_error("enough"); }
  } thrower;
  parser.AddOPMLEventSubscriber(&thrower);
  EXPECT_THROW(readFile("<opml><outline text='A'/><outline text='B'/></opml>"), std::runtime_error);
  EXPECT_EQ(dump(*parser.GetOPMLDoc()), " version=1.0 | A");
  parser.RemoveOPMLEventSubscriber(&thrower);
  EXPECT_EQ(dump(readFile("<o><outline text='C'/></o>")), " | C");
}

TEST_F(OPMLReading, BearsDeepAndLongListsAndEndsBeyondItsBounds) {
  const std::string open = "<outline>\n", close = "</outline>\n", single = "<outline/>\n";
  const std::string entity = "<!DOCTYPE o [<!ENTITY a '" + repeated(single, 1000) + "'>]>\n";
  const auto count = [&](const std::string& text) { return countPlaced(OPMLDoc(readFile(text))); };
  EXPECT_EQ(count("<o>" + repeated(open, 200'000) + repeated(close + single, 200'000)), 400'000);
  EXPECT_EQ(count("<o>" + repeated(single, 1'000'001)), 1'000'000);
  EXPECT_EQ(count(repeated("<a>\n", 1'000'000) + single), 0);
  EXPECT_LT(count(entity + repeated("\n", 100'000) + "<o>" + repeated("&a;\n", 500)), 200'000);
}

TEST_F(OPMLReading, KeepsWhatStandsBeforeACutInRealLists) {
  for (const auto& [name, text] : readCorpus("opml")) {
    int before = 0;
    for (std::size_t percent = 0; percent <= 100; ++percent) {
      server.serve("/list", text.substr(0, text.size() * percent / 100));
      parser.ParseFromURL(server.url("/list"));
      const int count = countPlaced(*parser.GetOPMLDoc());
      ASSERT_GE(count, before) << name << " cut at " << percent << " %";
      before = count;
    }
  }
}
