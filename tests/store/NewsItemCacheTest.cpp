#include "store/NewsItemCache.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/CFile.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace std::string_literals;

// A cache file, written by hand. No text here needs more than one byte of length.
std::string text(const std::string& bytes) { return static_cast<char>(bytes.size()) + bytes; }

std::string number(std::int32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string header(std::int32_t version, std::int32_t count, const std::string& signature = "Quillmoria News Items") {
  return text(signature) + number(version) + number(count) + (version > 1 ? text("note") : "") + text("Caf\xE9 ?") +
         text("http://a/") + text("about") + text("de") + number(100) + text("daily") + number(7) + text("A: b?") +
         number(-1) + text("logo") + text("http://a/l.gif") + text("http://a/l") + number(88) + number(31) +
         text("more");
}

std::string records(std::int32_t version, const std::string& guid) {
  const auto identity = [&](const std::string& id) {
    return version == 4 ? text(id) + number(id.empty() ? 0 : 1) : "";
  };
  return text("one") + identity(guid) + text("link") + text("what") + text("who") + number(200) + text("GMT") +
         text("") + identity("") + text("") + text("") + text("") + number(-1) + text("");
}

std::string file(std::int32_t version) { return header(version, 2) + (version < 3 ? "" : records(version, "id")); }

std::unique_ptr<RSSObject> feed() {
  const RSSObject::ImageStruct image{"logo", "http://a/l.gif", "http://a/l", "not stored", 88, 31, u"more"};
  RSSObject::ChannelStruct channel{"not stored", u"Caf\u00E9 \u4E2D",
                                   "http://a/",  "not stored",
                                   u"about",     "de",
                                   image,        CTime(100),
                                   "daily",      7,
                                   "A: b?",      CTime(),
                                   "not stored"};
  auto items = std::make_unique<RSSObject::NewsItemStruct[]>(2);
  items[0] = {"not stored", u"one", "link", "not stored", u"what", u"who", u"id", true, CTime(200), "GMT", 2};
  return std::make_unique<RSSObject>(channel, items.release(), 2);
}

class CacheFile : public testing::Test {
 protected:
  std::unique_ptr<RSSObject> loaded(const std::string& bytes) {
    base_.write("cache/x", bytes);
    return std::unique_ptr<RSSObject>(NewsItemCache().LoadFeed(base_.name() + "\\cache\\x"));
  }

  std::string stored(const RSSObject& feed, std::int32_t version) {
    EXPECT_EQ(NewsItemCache().StoreFeed(base_.name(), &feed, version, "note"), 1);
    return base_.read("cache/A_ b_");
  }

  void expectNotCached(const std::string& bytes) {
    const auto feed = loaded(bytes);
    EXPECT_EQ(feed->statusMessage + " " + feed->channel.feedName, "Resource not cached x") << bytes.size();
    EXPECT_EQ(feed->itemCount, -1);
  }

  TemporaryBaseFolder base_;
  EnvironmentVariable codePage_{"QUILLMORIA_CODEPAGE", "1252"};
};

}  // namespace

TEST_F(CacheFile, IsWrittenAsItsFormatSaysAndReadBackInEveryVersion) {
  for (const std::int32_t version : {1, 2, 3, 4, 5}) {
    EXPECT_EQ(stored(*feed(), version), file(version)) << version;
    EXPECT_EQ(stored(*loaded(file(version) + "ignored"), version), file(version)) << version;
  }
  const std::string unidentified = header(4, 2) + records(4, "");
  EXPECT_EQ(stored(*loaded(file(3)), 4), unidentified);
  const auto read = loaded(file(4));
  const auto& [channel, item] = std::tie(read->channel, read->items[0]);
  EXPECT_EQ(item.status, 4);
  EXPECT_EQ(channel.title + channel.description + channel.sourceNote + channel.image.description, "");
  EXPECT_EQ(item.title + item.description, "");
  const auto unsignedFile = loaded(header(4, 2, "quillmoria News Items"));
  EXPECT_EQ(stored(*unsignedFile, 2), header(2, 2));
  EXPECT_EQ(unsignedFile->items[1].titleW, u"");
}

TEST_F(CacheFile, ThatIsMissingCutOffOrImpossibleIsNotCached) {
  for (const std::int32_t version : {1, 3, 4}) {
    const std::string whole = file(version);
    for (std::size_t i = 0; i < whole.size(); ++i) expectNotCached(whole.substr(0, i));
  }
  const std::string empty4(14, '\0'), empty3(9, '\0');
  EXPECT_EQ(loaded(header(4, 2) + empty4 + empty4)->itemCount, 2);
  EXPECT_EQ(loaded(header(3, 2) + empty3 + empty3)->itemCount, 2);
  for (const std::string& bytes :
       {header(4, -1), header(4, 1) + empty4.substr(1), header(4, 0x7FFFFFFF), header(3, 3) + empty3 + empty3,
        header(2, 1000001), header(4, 1000001, "other"), header(1, -2), "\xFF\xFF\xFF\xF0\xFF\xFF\x7F"s}) {
    expectNotCached(bytes);
  }
  std::filesystem::remove(base_ / "cache/x");
  const std::unique_ptr<RSSObject> none(NewsItemCache().LoadFeed(base_.name() + "\\cache\\x"));
  EXPECT_EQ(none->statusMessage + none->channel.feedName, "Resource not cachedx");
}

TEST_F(CacheFile, IsNamedAfterTheFeedAndStaysAsItWasWhereItCannotBeWritten) {
  EXPECT_EQ(NewsItemCache::filePath("B", "a\"b\\c>d<e:f*g?h|i/j"), "B\\cache\\a_b_c_d_e_f_g_h_i/j");
  base_.write("cache/x", "old");
  std::filesystem::create_symlink("x", base_ / "cache/link");
  for (const char* name : {"missing/x", "../cache/x", "/x", "link", ""}) {
    const auto hostile = feed();
    hostile->channel.feedName = name;
    EXPECT_EQ(NewsItemCache().StoreFeed(base_.name(), hostile.get(), 4, ""), 0) << name;
  }
  EXPECT_EQ(base_.read("cache/x"), "old");
  CFile held;
  ASSERT_TRUE(held.Open(NewsItemCache::filePath(base_.name(), "A: b?"), CFile::modeReplace));
  EXPECT_EQ(NewsItemCache().StoreFeed(base_.name(), feed().get(), 4, ""), 0);
}
