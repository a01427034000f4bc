#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "quillmoria/OPML.h"
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

TEST_F(OPMLReading, GivesADocumentWhoseCopiesHaveTreesOfTheirOwn) {
  const OPMLDoc copy =
      readFile("<opml version='1.1'><outline text='A'><outline text='B'/><outline text='C'/></outline>");
  OPMLDoc assigned;
  assigned.outlines = {new OPMLDoc::OutlineStruct};
  assigned = *parser.GetOPMLDoc();
  readFile("<o/>");
  for (const OPMLDoc* document : {&copy, &std::as_const(assigned)}) {
    EXPECT_EQ(dump(*document), " version=1.1 | A(B C)");
    EXPECT_EQ(document->lastOutline, document->outlines[0]->children[1]);
  }
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
  const std::pair<std::string, int> cases[] = {
      {"<o>" + repeated(open, 200'000) + repeated(close, 200'000) + "</o>", 200'000},
      {"<o>" + repeated(open, 200'000) + repeated(close + single, 200'000), 400'000},
      {"<opml>" + repeated(single, 500'000) + "</opml>", 500'001},
      {"<o>" + repeated(single, 300'000) + open + single + close + repeated("<opml/>\n", 300'000), 300'002},
      {"<o>" + repeated(single, 1'000'001) + "</o>", 1'000'000},
      {repeated("<a>\n", 1'000'000) + single, 0},
  };
  for (const auto& [text, count] : cases) {
    EXPECT_EQ(countPlaced(OPMLDoc(readFile(text))), count) << text.substr(0, 30);
  }
  const std::string entity = "<!DOCTYPE o [<!ENTITY a '" + repeated(single, 1000) + "'>]>\n";
  EXPECT_LT(countPlaced(readFile(entity + "<o>" + repeated("&a;\n", 500))), 200'000);
}

TEST_F(OPMLReading, GoesOnInTwoParsersAtOnce) {
  const auto reading = [&](const std::string& label) {
    const std::string name = label + ".opml";
    folder.write(name, "<o>" + repeated("<outline text='" + label + "'/>\n", 2000) + "</o>");
    OPMLParser other(folder.name());
    for (int i = 0; i < 20; ++i) other.ParseFromFile((folder / name).string());
    EXPECT_EQ(dump(*other.GetOPMLDoc()), " | " + label + repeated(" " + label, 1999));
  };
  std::thread other(reading, "A");
  reading("B");
  other.join();
}
