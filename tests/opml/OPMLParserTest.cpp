#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "opml/Dump.h"
#include "quillmoria/OPML.h"
#include "support/LoopbackServer.h"
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

/// How many outlines there are if each knows its place; -1 if not.
int countPlaced(const OPMLDoc& document) {
  int count = 0;
  auto left = document.outlines;
  const bool isWrapped = !left.empty() && !left[0]->children.empty() && !left[0]->children[0]->parent;
  if (isWrapped) left = left[0]->children;
  for (; !left.empty(); ++count) {
    const OPMLDoc::OutlineStruct* const outline = left.back();
    left.pop_back();
    if (outline->level != (outline->parent ? outline->parent->level + 1 : 0)) return -1;
    for (OPMLDoc::OutlineStruct* child : outline->children) {
      if (child->parent != outline) return -1;
      left.push_back(child);
    }
  }
  return count;
}

}  // namespace

TEST_F(OPMLReading, MakesTheTreeAndTheHeadOfADocument) {
  const struct {
    std::string text, expected;
  } cases[] = {
      {"", " | "},
      {"no markup", " | "},
      {"<opml/>", "version=1.0 | "},
      {"<opml version='1.1'></opml>", "version=1.1 | "},
      {"<opml version='2.0'></opml>", " | "},
      {"<opml other='1.0' version='2.0'></opml>", "version=1.0 | "},
      {"<o><outline text='A' title='B'/><outline title='B' text='A'/></o>", " | B A"},
      {"<o><outline text='A' type='link' xmlUrl='u'/><outline text='B' type='link' xmlUrl=''/></o>",
       " | A[type=rss xmlUrl=u] B[type=link]"},
      {"<o><outline text='&#xE9;&#x1F600;' URL='no' url='u' dateCreated='Sun, 19 May 2002 15:21:36 GMT' "
       "description='d'/></o>",
       " | \\00E9\\D83D\\DE00[url=u created=2002-05-19 15:21:36 description=d]"},
      {"<o><outline text='Alpha'><outline text='Beta'><outline text='Gamma'/></outline><outline text='Epsilon'/>"
       "</outline><outline text='Delta'/></o>",
       " | Alpha(Beta(Gamma) Epsilon) Delta"},
      {"<o><outline text='A'><x><outline text='B'><outline text='C'><outline text='D'/></outline></outline></x>"
       "<outline text='E'/></outline></o>",
       " | A(B(C(D)) E)"},
      {"<opml><outline text='A'/><outline text='B'><outline text='C'/></outline></opml>", "version=1.0 | A B(C)"},
      {"<opml><head><title>T</title></head><outline text='A'/><outline text='B'/></opml>",
       "version=1.0 title=T | T(A* B*)"},
      {"<o><opml><outline text='A'/></opml><opml><outline text='B'/></opml></o>", "version=1.0 | (A*) B"},
      {"<opml><outline text='A'><outline text='B'></opml>", "version=1.0 | A(B)"},
      {"<opml><head><title>News &amp; more</title></head></opml>", "version=1.0 title= more |  more"},
      {"<o><head><title>T</title>x<ownerName>N<b/>M</ownerName></head>"
       "<title>no</title></o>",
       "title=T owner=N | "},
      {"<o><head><title>T</title><head><ownerName>N</ownerName></head><ownerEmail>E</ownerEmail></head></o>",
       "email=E | "},
      {"<o><head><dateCreated>Sun, 19 May 2002 15:21:36 GMT</dateCreated><dateModified>soon</dateModified>"
       "<ownerEmail>e</ownerEmail><expansionState>1,2</expansionState><vertScrollState>1</vertScrollState>"
       "<windowTop>  42px</windowTop><windowLeft>-7</windowLeft><windowBottom>x</windowBottom>"
       "<windowRight>99999999999</windowRight></head></o>",
       "created=2002-05-19 15:21:36 email=e expansion=1,2 top=42 left=-7 bottom=0 right=2147483647 | "},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(dump(readFile(text)), expected) << text;
    EXPECT_EQ(parser.status, "OK");
  }
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
  EXPECT_EQ(dump(*parser.GetOPMLDoc()), "version=1.0 | " + server.url("/list") + "(A* B*)");

  const std::string before = dump(*parser.GetOPMLDoc());
  events.clear();
  server.answer("/closed", LoopbackServer::response("401 Unauthorized", "", "<opml/>"));
  parser.ParseFromURL(server.url("/closed"));
  EXPECT_EQ(events + " " + parser.status, " 0 1 2 5 HTTP_STATUS_DENIED");
  EXPECT_EQ(dump(*parser.GetOPMLDoc()), before);

  events.clear();
  EXPECT_EQ(dump(readFile("<opml><outline text='A'/></opml>")), "version=1.0 | " + server.url("/closed") + "(A*)");
  EXPECT_EQ(events, " 5");
}

TEST_F(OPMLReading, GivesAnEmptyDocumentForWhatIsNoFile) {
  for (const std::string& path : {std::string(), folder.name(), folder.name() + "/missing"}) {
    parser.ParseFromFile(path);
    EXPECT_EQ(dump(*parser.GetOPMLDoc()) + events + parser.status, " | OK") << path;
  }
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
  EXPECT_EQ(dump(*parser.GetOPMLDoc()), "version=1.0 | A");
  parser.RemoveOPMLEventSubscriber(&thrower);
  EXPECT_EQ(dump(readFile("<o><outline text='C'/></o>")), " | C");
}

TEST_F(OPMLReading, BearsDeepAndLongListsAndEndsBeyondItsBounds) {
  const std::string open = "<outline>\n", close = "</outline>\n", single = "<outline/>\n";
  const struct {
    std::string text;
    int count;
  } cases[] = {
      {"<opml>" + repeated(open, 200'000) + repeated(close, 200'000) + "</opml>", 200'000},
      {"<opml>" + repeated(open, 200'000) + repeated(close + single, 200'000), 400'000},
      {"<opml>" + repeated(single, 500'000) + "</opml>", 500'000},
      {"<opml>" + repeated(single, 300'000) + repeated("<opml/>\n", 300'000), 300'000},
      {"<opml>" + repeated(single, 1'000'001) + "</opml>", 1'000'000},
      {repeated("<a>\n", 1'000'000) + "<outline/>", 0},
      {"<!DOCTYPE o [<!ENTITY a '" + repeated(single, 1000) + "'><!ENTITY b '" + repeated("&a;", 1000) +
           "'>]><o>&b;</o>",
       -2},
  };
  for (const auto& [text, count] : cases) {
    const OPMLDoc& document = readFile(text);
    const int placed = countPlaced(document);
    if (count == -2) {
      EXPECT_LT(placed, 200'000);
    } else {
      EXPECT_EQ(placed, count) << text.substr(0, 30);
    }
    EXPECT_EQ(countPlaced(OPMLDoc(document)), placed);
  }
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

TEST_F(OPMLReading, KeepsWhatStandsBeforeACutInRealLists) {
  const char* const corpus = std::getenv("QUILLMORIA_CORPUS");
  const std::filesystem::path lists = std::filesystem::path(corpus ? corpus : QUILLMORIA_SAMPLES) / "opml";
  for (const auto& entry : std::filesystem::directory_iterator(lists)) {
    std::ostringstream bytes;
    bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    const std::string text = bytes.str();
    int before = 0;
    for (std::size_t cut = 0; cut <= 100; ++cut) {
      const int count = countPlaced(readFile(text.substr(0, text.size() * cut / 100)));
      ASSERT_GE(count, before) << entry.path() << " cut at " << cut << " %";
      before = count;
    }
  }
}

TEST_F(OPMLReading, UnderstandsTheSamples) {
  const std::pair<const char*, const char*> cases[] = {
      {"nested.opml",
       "version=1.1 title=My reading created=2004-03-01 10:20:30 owner=A. Reader expansion=1,3 top=42 | "
       "Weather(Coast & sea[type=rss xmlUrl=http://weather.example/coast.rss] "
       "Inland(Hills[type=rss xmlUrl=http://weather.example/hills.rss description=Snow line, daily])) "
       "Caf\\00E9[type=link url=http://cafe.example/]"},
      {"cut-off.opml", "title=Not to its end | News(World[type=rss xmlUrl=http://news.example/world.rss])"},
  };
  for (const auto& [name, expected] : cases) {
    parser.ParseFromFile(std::string(QUILLMORIA_SAMPLES) + "/opml/" + name);
    EXPECT_EQ(dump(*parser.GetOPMLDoc()), expected);
  }
}
