#include "xml/ForgivingReading.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "support/Table.h"
#include "support/XmlEvents.h"

using quillmoria::ForgivingReading;
using quillmoria::readForgivingly;
using quillmoria::XmlLimits;

TEST(ForgivingReading, TellsWhatWasMeant) {
  for (const auto& [expectation, document, events] : readTable<3>("modern/mended.txt")) {
    XmlEvents handler;
    const ForgivingReading reading = readForgivingly(document, handler);
    EXPECT_EQ(handler.text, events) << document;
    EXPECT_EQ(reading.wasRepaired, expectation == "repaired") << document;
    EXPECT_EQ(reading.hasRoot, !events.empty()) << document;
  }
}

TEST(ForgivingReading, EndsAtALimitInEitherTelling) {
  XmlLimits limits;
  limits.depth = 2;
  for (const auto& [text, told] : {std::pair{"<a><b>1<c>2</c></b></a>", "a(b(1"}, {"<a>&<b>1<c>2</b></a>", "a(&b(1"}}) {
    XmlEvents handler;
    EXPECT_TRUE(readForgivingly(text, handler, limits).wasRepaired) << text;
    EXPECT_EQ(handler.text, told) << text;
  }
}

TEST(ForgivingReading, NeedsNoMoreThanItsShareOfTimeForWhatNeverEnds) {
  for (const std::string part : {"<a b='", "<a b=\"<", "<?",      "<!-",        "<!D",
                                 "<!D'",   "</a",      "<a ",     "<a>",        "</b>",
                                 "<br>x",  "&",        "<a b='>", "<item>",     "<![CDATA[",
                                 "<!--",   "<!D[",     "<!D>",    "<!ENTITY a", "<a b=\"<c d='\" e='>"}) {
    for (std::string document : {"", "<rss>"}) {
      while (document.size() < 500'000) document += part;
      XmlEvents handler;
      EXPECT_TRUE(readForgivingly(document, handler).wasRepaired) << part;
    }
  }
}

TEST(ForgivingReading, PassesOnWhatTheSecondTellingThrows) {
  struct : quillmoria::RestartableXmlHandler {
    bool isSecond = false;
    void startElement(const char*, quillmoria::XmlAttributes) override {
      if (isSecond) throw std::runtime_error("enough");
    }
    void endElement(const char*) override {}
    void characters(std::string_view) override {}
    void restart() override { isSecond = true; }
  } handler;
  EXPECT_THROW(readForgivingly("<a>&</a>", handler), std::runtime_error);
}
