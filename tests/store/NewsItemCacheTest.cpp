#include "store/NewsItemCache.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/TemporaryFolder.h"

namespace {

using namespace std::string_literals;

/// The code page is read once in a process, so it is set before any test.
const bool kCodePageIsSet = setenv("QUILLMORIA_CODEPAGE", "1252", 1) == 0;

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

std::string record(std::int32_t version, const std::string& title, const std::string& guid, bool isPermaLink) {
  return text(title) + (version == 4 ? text(guid) + number(isPermaLink) : "") + text("link of " + title) +
         text("what") + text("who") + number(200) + text("GMT");
}

std::string file(std::int32_t version) {
  return header(version, 2) +
         (version < 3 ? "" : record(version, "one", "id:1", true) + record(version, "", "", false));
}

std::unique_ptr<RSSObject> feed() {
  auto items = std::make_unique<RSSObject::NewsItemStruct[]>(3);
  RSSObject::ChannelStruct channel;
  channel.title = "not stored";
  channel.titleW = u"Caf\u00E9 \u4E2D";
  channel.link = "http://a/";
  channel.descriptionW = u"about";
  channel.language = "de";
  channel.updateBase = 100;
  channel.updatePeriod = "daily";
  channel.updateFrequency = 7;
  channel.feedName = "A: b?";
  channel.image = {"logo", "http://a/l.gif", "http://a/l", "not stored", 88, 31, u"more"};
  for (int i = 0; i < 2; ++i) {
    items[i] = {"not stored",
                i ? u"" : u"one",
                i ? "link of " : "link of one",
                "not stored",
                u"what",
                u"who",
                i ? u"" : u"id:1",
                i == 0,
                200,
                "GMT",
                2};
  }
  return std::make_unique<RSSObject>(channel, items.release(), 2);
}

std::string shown(const std::u16string& wide) { return {wide.begin(), wide.end()}; }

/// All that a read brings, in one text.
std::string shown(const RSSObject& feed) {
  const auto& [title, titleW, link, description, descriptionW, language, image, updateBase, updatePeriod,
               updateFrequency, feedName, date, sourceNote] = feed.channel;
  std::string all;
  for (const std::string& part : {title,
                                  shown(titleW),
                                  link,
                                  description,
                                  shown(descriptionW),
                                  language,
                                  std::to_string(updateBase.GetTime()),
                                  updatePeriod,
                                  std::to_string(updateFrequency),
                                  feedName,
                                  std::to_string(date.GetTime()),
                                  sourceNote,
                                  image.title,
                                  image.url,
                                  image.link,
                                  image.description,
                                  std::to_string(image.width),
                                  std::to_string(image.height),
                                  shown(image.extraW),
                                  std::to_string(feed.itemCount) + feed.statusMessage}) {
    all += part + "|";
  }
  for (int i = 0; i < feed.itemCount; ++i) {
    const auto& item = feed.items[i];
    for (const std::string& part :
         {"\n" + item.title, shown(item.titleW), shown(item.guidW), std::to_string(item.isPermaLink), item.link,
          item.description, shown(item.descriptionW), shown(item.creatorW), std::to_string(item.date.GetTime()),
          item.timeSuffix, std::to_string(item.status)}) {
      all += part + "|";
    }
  }
  return all;
}

constexpr char kChannel[] =
    "|Caf\xE9 ?|http://a/||about|de|100|daily|7|A: b?|-1||logo|http://a/l.gif|http://a/l||88|31|more|";
constexpr char kNotCached[] = "||||||-1||-1|x|-1||||||1|-1||-1Resource not cached|";

class CacheFile : public testing::Test {
 protected:
  std::string loaded(const std::string& bytes) {
    base_.write("cache/x", bytes);
    return shown(*std::unique_ptr<RSSObject>(NewsItemCache().LoadFeed(base_.name() + "\\cache\\x")));
  }
  TemporaryBaseFolder base_;
};

}  // namespace

TEST_F(CacheFile, IsWrittenAsItsFormatSaysInEveryVersion) {
  for (const std::int32_t version : {1, 2, 3, 4, 5}) {
    EXPECT_EQ(NewsItemCache().StoreFeed(base_.name(), feed().get(), version, "note"), 1);
    EXPECT_EQ(base_.read("cache/A_ b_"), file(version)) << version;
  }
}

TEST_F(CacheFile, IsReadInEveryVersion) {
  const std::string none = "2|\n|||0|||||-1||0|\n|||0|||||-1||0|";
  const auto records = [](const std::string& guid) {
    return "2|\n|one|" + guid + "|link of one||what|who|200|GMT|4|\n|||0|link of ||what|who|200|GMT|4|";
  };
  const std::pair<std::int32_t, std::string> rows[] = {
      {0, none}, {1, none}, {2, none}, {3, records("|0")}, {4, records("id:1|1")}, {5, records("|0")}};
  for (const auto& [version, items] : rows) EXPECT_EQ(loaded(file(version)), kChannel + items) << version;
  EXPECT_EQ(loaded(header(4, 0)), kChannel + "0|"s);
  EXPECT_EQ(loaded(file(4) + "and more"), kChannel + records("id:1|1"));
  EXPECT_EQ(loaded(header(4, 2, "quillmoria News Items") + "x"), kChannel + none);
}

TEST_F(CacheFile, ThatIsMissingCutOffOrImpossibleIsNotCached) {
  for (const std::int32_t version : {1, 2, 3, 4}) {
    const std::string whole = file(version);
    for (std::size_t i = 0; i < whole.size(); ++i) EXPECT_EQ(loaded(whole.substr(0, i)), kNotCached) << i;
  }
  const std::string smallest4(14, '\0'), smallest3(9, '\0');
  EXPECT_EQ(loaded(header(4, 3) + smallest4 + smallest4 + smallest4).substr(0, sizeof kChannel), kChannel + "3"s);
  EXPECT_EQ(loaded(header(3, 2) + smallest3 + smallest3).substr(0, sizeof kChannel), kChannel + "2"s);
  const std::string impossible[] = {header(4, -1),         header(4, 1) + smallest4.substr(1),
                                    header(4, 0x7FFFFFFF), header(3, 3) + smallest3 + smallest3,
                                    header(2, 1000001),    header(4, 1000001, "other"),
                                    header(1, -2),         "\xFF\xFF\xFF\xF0\xFF\xFF\x7F"s};
  for (const std::string& bytes : impossible) EXPECT_EQ(loaded(bytes), kNotCached);
  std::filesystem::remove(base_ / "cache/x");
  for (const char* path : {"\\cache\\x", "\\cache\\..\\x", "x"}) {
    const std::unique_ptr<RSSObject> feed(NewsItemCache().LoadFeed(path[0] == '\\' ? base_.name() + path : path));
    EXPECT_EQ(shown(*feed), kNotCached) << path;
  }
}

TEST_F(CacheFile, IsNamedAfterTheFeed) {
  EXPECT_EQ(NewsItemCache::filePath("B", "a\"b\\c>d<e:f*g?h|i/j"), "B\\cache\\a_b_c_d_e_f_g_h_i/j");
}

TEST_F(CacheFile, ThatCannotBeWrittenGivesZeroAndStaysAsItWas) {
  const auto named = [](const std::string& name) {
    auto result = feed();
    result->channel.feedName = name;
    return result;
  };
  std::filesystem::create_symlink("x", base_ / "cache/link");
  base_.write("cache/x", "old");
  for (const char* name : {"missing/x", "../cache/x", "/x", "link", ""}) {
    EXPECT_EQ(NewsItemCache().StoreFeed(base_.name(), named(name).get(), 4, ""), 0) << name;
  }
  EXPECT_EQ(NewsItemCache().StoreFeed(base_.name() + "/none", named("x").get(), 4, ""), 0);
  EXPECT_EQ(base_.read("cache/x"), "old");
}
