#include "modern/reading/Encoding.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/Table.h"

using quillmoria::decodeDocument;
using quillmoria::DecodedText;

TEST(Encoding, GivesTheDocumentsCharacters) {
  for (const auto& [expectation, contentType, document, expected] : readTable<4>("modern/encodings.tsv")) {
    const DecodedText decoded = decodeDocument(document, contentType);
    EXPECT_EQ(decoded.text, expected) << contentType << ' ' << document;
    EXPECT_EQ(decoded.wasMended, expectation == "mended") << contentType << ' ' << document;
  }
}

TEST(Encoding, CopiesNothingOfWhatIsSound) {
  const std::string document = "\xEF\xBB\xBF <a>" + std::string(100, 'x') + "\u00E9\U0001F600</a>";
  const DecodedText decoded = decodeDocument(document, {});
  EXPECT_EQ(decoded.text.data(), document.data() + 4);
  EXPECT_TRUE(decoded.converted.empty());
}

TEST(Encoding, FindsAFaultWhereverItStands) {
  for (std::size_t at = 0; at < 70; ++at) {
    std::string document = "<" + std::string(70, 'x');
    std::string expected = document;
    document.insert(at + 1, "\x01\xE9");
    expected.insert(at + 1, "\u00E9");
    EXPECT_EQ(decodeDocument(document, {}).text, expected) << at;
  }
}

TEST(Encoding, MayBeMoved) {
  DecodedText decoded = decodeDocument("<\xE9>", {});
  const DecodedText moved = std::move(decoded);
  EXPECT_EQ(moved.text, "<\u00E9>");
}
