#include "platform/Url.h"

#include <gtest/gtest.h>

#include "support/Table.h"

namespace {

TEST(Url, IsResolvedAsDocumentsMeanIt) {
  for (const auto& [reference, base, expected] : readTable<3>("platform/references.tsv")) {
    EXPECT_EQ(quillmoria::absoluteUrl(reference, base), expected) << reference << " at " << base;
  }
}

TEST(Url, IsTakenApartAndNormalisedBeforeItIsAsked) {
  for (const auto& [text, expected, credentials] : readTable<3>("platform/asked-urls.tsv")) {
    const auto url = quillmoria::WebUrl::parse(text);
    EXPECT_EQ(url ? url->text() : "", expected) << text;
    EXPECT_EQ(url ? url->userName + ":" + url->password : "", credentials) << text;
  }
}

}  // namespace
