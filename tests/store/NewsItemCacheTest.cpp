#include "store/NewsItemCache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>

#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace std::string_literals;

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
  std::unique_ptr<RSSObject> loaded() {
    return std::unique_ptr<RSSObject>(NewsItemCache().LoadFeed(base_.name() + "\\cache\\x"));
  }

  std::unique_ptr<RSSObject> loaded(const std::string& bytes) {
    base_.write("cache/x", bytes);
    return loaded();
  }

  std::string stored(const RSSObject& feed, std::int32_t version) {
    EXPECT_EQ(NewsItemCache().StoreFeed(base_.name(), &feed, version, "note"), 1);
    return base_.read("cache/A_ b_");
  }

  static void expectNotCached(const RSSObject& feed, const std::string& why) {
    EXPECT_EQ(feed.statusMessage + " " + feed.channel.feedName, "Resource not cached x") << why;
    EXPECT_EQ(feed.itemCount, -1) << why;
  }

  TemporaryBaseFolder base_;
  EnvironmentVariable codePage_{"QUILLMORIA_CODEPAGE", "1252"};
};

}  // namespace

TEST_F(CacheFile, IsWrittenAsItsFormatSaysAndReadBackInEveryVersion) {
  for (const auto& [version, bytes, latest] : readTable<3>("store/formats.tsv")) {
    EXPECT_EQ(stored(*feed(), std::stoi(version)), bytes) << version;
    EXPECT_EQ(stored(*loaded(bytes + "ignored"), std::stoi(version)), bytes) << version;
    const auto read = loaded(bytes);
    EXPECT_EQ(stored(*read, 4), latest) << version;
    const auto& [channel, item] = std::tie(read->channel, read->items[0]);
    EXPECT_EQ(channel.title + channel.description + channel.sourceNote + channel.image.description, "");
    EXPECT_EQ(item.title + item.description + std::to_string(item.status), version < "3" ? "0" : "4");
  }
}

TEST_F(CacheFile, HasLengthsAsWideAsTheyNeedToBe) {
  const std::pair<std::size_t, std::string> prefixes[] = {{254, "\xFE"s},
                                                          {255, "\xFF\xFF\0"s},
                                                          {4040, "\xFF\xC8\x0F"s},  // the next number is in two buffers
                                                          {65533, "\xFF\xFD\xFF"s},
                                                          {65534, "\xFF\xFF\xFF\xFE\xFF\0\0"s},
                                                          {70000, "\xFF\xFF\xFF\x70\x11\x01\0"s}};
  for (const auto& [length, prefix] : prefixes) {
    const auto linked = feed();
    linked->channel.link.assign(length, 'x');
    const std::string bytes = stored(*linked, 4);
    EXPECT_NE(bytes.find(" ?" + prefix + linked->channel.link +
                         "\x05"
                         "about"),
              std::string::npos)
        << length;
    EXPECT_TRUE(stored(*loaded(bytes), 4) == bytes) << length;
  }
}

TEST_F(CacheFile, ThatIsMissingCutOffOrImpossibleIsNotCached) {
  for (const auto& [version, whole, latest] : readTable<3>("store/formats.tsv")) {
    const std::string signature(65534, 'x');
    expectNotCached(*loaded("\xFF\xFE\xFF" + signature + whole.substr(22)), "no length");
    EXPECT_EQ(loaded("\xFF\xFF\xFF\xFE\xFF\0\0"s + signature + whole.substr(22))->itemCount, 2);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      expectNotCached(*loaded(whole.substr(0, i)), version + " up to " + std::to_string(i));
    }
  }
  for (const auto& [count, bytes] : readTable<2>("store/item-counts.tsv")) {
    const auto read = loaded(bytes);
    EXPECT_EQ(read->itemCount, std::stoi(count)) << bytes;
    if (count == "-1") expectNotCached(*read, bytes);
  }
  std::filesystem::remove(base_ / "cache/x");
  expectNotCached(*loaded(), "missing");
}

TEST_F(CacheFile, OfAFeedWhoseDateAloneIsNewIsChangedInPlace) {
  const auto file = [&](const RSSObject& feed) {
    stored(feed, 4);
    struct stat state {};
    stat((base_ / "cache/A_ b_").c_str(), &state);
    return state.st_ino;
  };
  const auto dated = feed(), based = feed();
  dated->channel.date = CTime(101);
  based->channel.updateBase = CTime(101);
  const ino_t first = file(*feed());
  EXPECT_EQ(file(*dated), first);
  EXPECT_NE(file(*based), first);
}

TEST_F(CacheFile, IsNamedAfterTheFeed) {
  EXPECT_EQ(NewsItemCache::filePath("B", "a\"b\\c>d<e:f*g?h|i/j"), "B\\cache\\a_b_c_d_e_f_g_h_i/j");
}
