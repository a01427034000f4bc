#include "modern/reading/ReadFeed.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sstream>

#include "support/Corpus.h"
#include "support/NewsDump.h"
#include "support/Table.h"

using quillmoria::readFeed;

namespace {

constexpr char kUrl[] = "http://feeds.example.org/folder/feed";

std::string read(const std::string& document) { return dumpNews(*readFeed(document, "", kUrl).news); }

/// The documents of our own; what is expected of each stands beside it.
std::vector<std::string> samples() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(QUILLMORIA_SAMPLES "/modern")) {
    const auto extension = entry.path().extension();
    const bool isFeed = extension == ".xml" || extension == ".rdf" || extension == ".json";
    if (isFeed) names.push_back(entry.path().filename());
  }
  return names;
}

std::string aroundItem(const std::string& format, const std::string& item) {
  constexpr char kLink[] = "http://e.example.org/1";
  if (format == "atom") {
    return std::string(
               "<feed xmlns='http://www.w3.org/2005/Atom'><link href='http://e.example.org/'/><entry><link href='") +
           kLink + "'/>" + item + "</entry></feed>";
  }
  return std::string("<rss version='2.0'><channel><link>http://e.example.org/</link><item><link>") + kLink + "</link>" +
         item + "</item></channel></rss>";
}

/// The fields of the first item in one line.
std::string fieldsOfItem(const std::string& document) {
  std::istringstream dump(read(document));
  std::string shown;
  for (std::string line; std::getline(dump, line) && line != "item";) {
  }
  for (std::string line; std::getline(dump, line);) {
    if (!line.starts_with("  link=") && !line.starts_with("  isPermaLink")) shown += line.substr(1);
  }
  return shown.empty() ? shown : shown.substr(1);
}

class NewsSample : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(NewsSample, ReadsAsItsText) {
  const std::string expected = readSample("modern/" + std::filesystem::path(GetParam()).stem().string() + ".txt");
  EXPECT_EQ(read(readSample("modern/" + GetParam())), expected);
}

INSTANTIATE_TEST_SUITE_P(Documents, NewsSample, testing::ValuesIn(samples()), [](const auto& sample) {
  std::string name = sample.param;
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
});

TEST(ReadFeed, TakesEachFieldFromTheElementThatIsPreferred) {
  for (const auto& [format, item, expected] : readTable<3>("modern/items.tsv")) {
    EXPECT_EQ(fieldsOfItem(aroundItem(format, item)), expected) << item;
  }
}

TEST(ReadFeed, SaysWhatADocumentIsThatIsNoFeed) {
  for (const auto& [document, outcome, status] : readTable<3>("modern/refused.tsv")) {
    const auto news = readFeed(document, "", kUrl).news;
    EXPECT_EQ(news->itemCount, -1) << document;
    EXPECT_EQ(quillmoria::OutcomeName(news->GetDetails()->outcome), outcome) << document;
    EXPECT_EQ(news->statusMessage, status) << document;
  }
}

TEST(ReadFeed, TellsWhenAFeedChanges) {
  const quillmoria::UpdateRules rules = readFeed(readSample("modern/rss-2.0.xml"), "", kUrl).rules;
  EXPECT_EQ(rules.minutes, 720);
  EXPECT_EQ(rules.skipHours, 1U | 1U << 23);
  EXPECT_EQ(rules.skipDays, 1);
}

TEST(ReadFeed, TakesTimeInProportionAndNoStackForWhatIsMadeToHurt) {
  const auto repeated = [](std::string_view part, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i) text += part;
    return text;
  };
  const std::string rss = "<rss version='2.0'><channel><title>t</title>";
  std::string manyCategories = rss + "<item>";
  for (int i = 0; i < 100'000; ++i) manyCategories += "<category>" + std::to_string(i) + "</category>";
  std::string manyNamespaces = rss;
  for (int i = 0; i < 20'000; ++i) {
    manyNamespaces += "<a" + std::to_string(i) + " xmlns:p" + std::to_string(i) + "='u' xml:base='b/'>";
  }
  const std::string documents[] = {
      "{\"items\":" + repeated("[", 1'000'000),
      rss + repeated("<item>", 100'000),
      rss + repeated("<item/>", 300'000),
      rss + "<item><description>" + repeated("<b>", 100'000),
      manyCategories,
      manyNamespaces,
  };
  for (const std::string& document : documents) {
    const auto start = std::chrono::steady_clock::now();
    readFeed(document, "", kUrl);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << document.substr(0, 60);
  }
}

TEST(ReadFeed, GivesWhatHoldsTogetherOfAnyDocument) {
  for (const auto& [path, document] : readCorpus()) {
    const auto news = readFeed(document, "", kUrl).news;
    const FeedDetails& details = *news->GetDetails();
    EXPECT_EQ(details.items.size(), static_cast<std::size_t>(std::max(news->itemCount, 0))) << path;
    EXPECT_EQ(news->itemCount >= 0, details.outcome == Outcome::Fetched) << path;
  }
}
