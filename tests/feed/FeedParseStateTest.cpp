#include "feed/FeedParseState.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <new>

#include "platform/CodePage.h"
#include "quillmoria/ConnectedState.h"
#include "support/Dump.h"
#include "support/Table.h"
#include "support/TimeZone.h"

namespace {

/// Allocations of the thread that still succeed while this is not below zero; then one fails.
thread_local long allocationsLeft = -1;

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// The documents of our own, without their extension; what is expected of each stands beside it.
std::vector<std::string> samples() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(QUILLMORIA_SAMPLES "/feed")) {
    if (entry.path().extension() == ".xml") names.push_back(entry.path().stem());
  }
  return names;
}

class FeedParse : public testing::Test {
 protected:
  FeedParse() { SetConnectedState(ConnectedState::Disconnected); }
  ~FeedParse() override { SetConnectedState(ConnectedState::Automatic); }

  static RSSObject parse(std::string_view document) {
    RSSObject feed({}, nullptr, -1);
    FeedParseState(feed).parse(document);
    return feed;
  }
  std::string dump(std::string_view document) const { return ::dump(parse(document), started_); }

  const TimeZone zone_{"Europe/Berlin"};
  const CTime started_ = CTime::GetCurrentTime();
};

class FeedSample : public FeedParse, public testing::WithParamInterface<std::string> {};

}  // namespace

// Not inlined: the compiler would take an allocation and its release for mismatched.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (allocationsLeft == 0) {
    allocationsLeft = -1;
    throw std::bad_alloc();
  }
  if (allocationsLeft > 0) --allocationsLeft;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

TEST_P(FeedSample, ReadsAsItsTextInAnyLineEndsAndEncoding) {
  const std::string document = readSample("feed/" + GetParam() + ".xml");
  const std::string expected = readSample("feed/" + GetParam() + ".txt");
  EXPECT_EQ(dump(document), expected);
  EXPECT_EQ(dump(replaced(document, "\n", "\r\n")), expected);
  if (document.find("encoding=") != std::string::npos) return;

  const std::u16string wide = u"\xFEFF" + quillmoria::utf8ToWide(document);
  EXPECT_EQ(dump("\xEF\xBB\xBF" + document), expected);
  EXPECT_EQ(dump({reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(char16_t)}), expected);
}

INSTANTIATE_TEST_SUITE_P(Documents, FeedSample, testing::ValuesIn(samples()),
                         [](const auto& sample) { return replaced(replaced(sample.param, "-", "_"), ".", "_"); });

TEST_F(FeedParse, IsFinishedExactlyFromTheFinishingTagOn) {
  const std::string document = readSample("feed/rss-2.0.xml");
  const std::size_t finish = document.find("</channel>") + std::string_view("</channel>").size();
  for (std::size_t length = 0; length <= document.size(); ++length) {
    const RSSObject feed = parse(document.substr(0, length));
    ASSERT_EQ(feed.itemCount, length < finish ? -1 : 3) << length;
    ASSERT_EQ(feed.items == nullptr, length < finish) << length;
  }
}

TEST_F(FeedParse, WithoutMemoryEndsUnfinishedAndThrowsNothing) {
  const std::string document = readSample("feed/atom.xml");
  int failures = 0;
  for (bool isFinished = false; !isFinished; ++failures) {
    RSSObject feed({}, nullptr, -1);
    FeedParseState state(feed);
    allocationsLeft = failures;
    state.parse(document);
    isFinished = allocationsLeft >= 0;
    allocationsLeft = -1;
    ASSERT_EQ(feed.itemCount, isFinished ? 1 : -1) << failures;
    ASSERT_EQ(feed.items == nullptr, !isFinished) << failures;
  }
  EXPECT_GT(failures, 10);
}

TEST_F(FeedParse, OfAFewBytesDoesNotFillTheMemory) {
  std::string entities = "<!ENTITY e0 '0123456789'>";
  for (int i = 1; i < 12; ++i) {
    const std::string inner = "&e" + std::to_string(i - 1) + ";";
    entities += "<!ENTITY e" + std::to_string(i) + " '" + replaced("xxxxxxxxxx", "x", inner) + "'>";
  }
  const RSSObject laughs = parse("<!DOCTYPE rss [" + entities + "]><rss><channel><title>&e11;</title></channel></rss>");
  EXPECT_EQ(laughs.itemCount, -1);
  EXPECT_LT(laughs.channel.title.size(), 12u << 20);

  std::string opening = "<feed>", closing = "</feed>";
  for (int i = 0; i < 300; ++i) opening += "<item>", closing = "</item>" + closing;
  const RSSObject copies = parse(opening + "<entry><link href='" + std::string(1 << 20, 'x') + "'/></entry>" + closing);
  EXPECT_EQ(copies.itemCount, -1);
  EXPECT_LE(copies.parsedItems.size(), 128u);
}
