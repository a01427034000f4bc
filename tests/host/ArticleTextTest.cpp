#include "host/ArticleText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "host/Text.h"
#include "support/Table.h"

namespace quillmoria {
namespace {

std::string textOf(std::string_view html, std::size_t columns) {
  std::string text;
  writeArticle(html, columns, [&text](std::string_view line) { text.append(line).append("\n"); });
  return text;
}

TEST(ArticleText, ShowsWhatAReaderSees) {
  for (const auto& [html, text] : readTable<2>("host/articles.tsv")) EXPECT_EQ(textOf(html, 30), text) << html;
}

TEST(ArticleText, GoesNoDeeperThanALineHasRoomFor) {
  std::string html;
  for (int i = 0; i < 1000; ++i) html += "<blockquote><ul><li>";
  html += "some words";
  for (int i = 0; i < 1000; ++i) html += "</li></ul></blockquote>";
  const std::string text = textOf(html + "<p>after</p>", 30);
  EXPECT_TRUE(text.ends_with("\n\nafter\n")) << text;
  EXPECT_LE(columnsOf(text.substr(0, text.find('\n'))), 30u);
}

/// Each of them takes minutes if anything is looked through again for each part of it.
TEST(ArticleText, TakesTimeInProportionToTheText) {
  for (const std::string_view part : {"<a \"", "<", "</p>", "<blockquote>x", "<p>x", "<a href=\"", "&", "e\u0301"}) {
    std::string html;
    while (html.size() < 4'000'000) html += part;
    textOf(html, 80);
  }
}

}  // namespace
}  // namespace quillmoria
