#include <sys/stat.h>

#include <algorithm>

#include "engine/PullFixture.h"
#include "quillmoria/Profile.h"
#include "support/Table.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kTwoItems[] =
    "<rss version=\"2.0\"><channel><title>News</title>"
    "<item><title>One</title><link>http://example.org/1</link><pubDate>Sun, 19 May 2002 15:21:36 GMT</pubDate></item>"
    "<item><title>Two</title><guid>two</guid><link>http://example.org/2</link></item></channel></rss>";

class Pull : public PullFixture {
 protected:
  Pull() {
    http_.serve("/two", kTwoItems);
    http_.serve("/broken", "<rss><channel>");
  }
};

TEST_P(Pull, SendsOnlyItsStartAndEndWithoutCategories) {
  RecordingSubscriber subscriber;
  EXPECT_EQ(pull(*makeServer(), subscriber), "1 | 3");
  SetConnectedState(ConnectedState::Disconnected);
  EXPECT_EQ(pull(*makeServer(), subscriber), "1 | 4");
}

TEST_P(Pull, TakesOnlyFeedsWhoseFlagIsExactlyOne) {
  subscriptions_.add("Tech", {{"off", http_.url("/two")}, {"odd", http_.url("/two")}}).add("", {});
  subscriptions_.feed(0, 0).enabled = 0;
  subscriptions_.feed(0, 1).enabled = 2;
  RecordingSubscriber subscriber;
  EXPECT_EQ(pull(*makeServer(), subscriber), "1 | 12 category:Tech | 13 | 12 category: | 13 | 3");
  EXPECT_TRUE(http_.requests().empty());
}

TEST_P(Pull, MarksItemsAsNewThenAsSeenAndReadsThemFromTheCacheOffline) {
  subscriptions_.add("Tech", {{"a: news?", http_.url("/two")}});
  const auto server = makeServer();
  RecordingSubscriber subscriber;
  EXPECT_EQ(pull(*server, subscriber), "1 | 12 category:Tech | 10 | 11 | 2 a: news?: OK, 2 items, 2 new | 13 | 3");
  const std::string file = base_.read("cache/a_ news_");
  EXPECT_FALSE(file.empty());
  EXPECT_THAT(pull(*server, subscriber), HasSubstr("OK, 2 items, 0 new"));

  SetConnectedState(ConnectedState::Disconnected);
  EXPECT_EQ(pull(*server, subscriber), "1 | 12 category:Tech | 10 | 11 | 2 a: news?: , 2 items, 0 new | 13 | 4");
  EXPECT_EQ(http_.requests().size(), 2u);
  EXPECT_EQ(base_.read("cache/a_ news_").size(), file.size());

  std::string statuses;
  RSSObject copy({}, nullptr, 0);
  for (const auto& news : subscriber.news()) {
    for (int i = 0; i < news->itemCount; ++i) statuses += std::to_string(news->items[i].status);
    copy = *news;
    statuses += copy.WasStored() ? " stored " : "";
  }
  EXPECT_EQ(statuses, "22 stored 33 stored 44");
  EXPECT_EQ(subscriber.news()[1]->GetCategory() + "|" + subscriber.news()[2]->GetCategory(), "Tech|");
  EXPECT_EQ(subscriber.news()[1]->items[1].date, subscriber.news()[0]->items[1].date) << "the first time is kept";
}

TEST_P(Pull, KeepsFilesOfHostileNamesWithinTheirFolders) {
  const TemporaryBaseFolder outer;
  outer.write("canary", "alive");
  for (const std::string folder : {"base/cache/", "base/config/", "base/feed_imgs/"}) {
    std::filesystem::create_directories(outer / (folder + "folder"));
    std::filesystem::create_symlink("../../canary", outer / (folder + "link"));
    std::filesystem::create_symlink("../../new", outer / (folder + "dangling"));
    std::filesystem::create_directory_symlink("../..", outer / (folder + "linked"));
    for (const char* name : {"hard", "1acg9l2z.qmu"}) create_hard_link(outer / "canary", outer / (folder + name));
    mkfifo((outer / (folder + "fifo")).c_str(), 0600);
  }
  auto rows = readTable<3>("engine/hostile-names.tsv");
  for (const std::size_t length : {254, 255, 256, 5000}) {
    const std::string name(length, 'n'), file = length > 255 ? "" : name;
    for (const char* folder : {"cache", "feed_imgs"}) rows.push_back({folder, name, file});
  }
  for (const auto& [folder, name, file] : rows) {
    const bool isImage = folder == "feed_imgs";
    const std::string image = isImage ? http_.url("/" + name) : "";
    http_.serve("/feed", "<rss><channel><image><url>" + image + "</url></image></channel></rss>");
    Subscriptions subscriptions;
    subscriptions.add("C", {{isImage ? "feed" : name, http_.url("/feed")}});
    auto before = outer.tree();
    RecordingSubscriber subscriber;
    const auto server = std::make_unique<NewsServer>(subscriptions.holder(), outer / "base");
    EXPECT_THAT(pull(*server, subscriber), HasSubstr("OK, 0 items, 0 new")) << name;
    auto after = outer.tree();
    const std::string path = "base/" + folder + "/" + file;
    EXPECT_EQ(after.contains(path), !file.empty()) << name;
    EXPECT_TRUE(!file.empty() || http_.requests().back().starts_with("GET /feed ")) << name << " is asked for";
    for (auto* tree : {&before, &after}) tree->erase(path), tree->erase("base/cache/feed");
    EXPECT_EQ(after, before) << name;
  }
}

TEST_P(Pull, DeliversFailedFeedsAndLeavesTheirCacheAlone) {
  base_.write("cache/broken", "untouched");
  subscriptions_.add("x", {{"broken", http_.url("/broken")}, {"missing?", http_.url("/404")}, {"none", ""}});
  RecordingSubscriber subscriber;
  EXPECT_EQ(
      pull(*makeServer(), subscriber),
      "1 | 12 category:x | 10 | 11 | 2 broken: Failed to parse feed, -1 items, 0 new | "
      "10 | 11 | 2 missing?: Failed to parse feed, -1 items, 0 new | 10 | 11 | 2 none: , -1 items, 0 new | 13 | 3");
  EXPECT_EQ(base_.read("cache/broken"), "untouched");
  EXPECT_EQ(base_.read("cache/missing_"), "");
  SetConnectedState(ConnectedState::Disconnected);
  EXPECT_THAT(pull(*makeServer(), subscriber), HasSubstr("2 missing_: Resource not cached, -1 items, 0 new"));
}

TEST_P(Pull, RunsAfterTheOneBefore) {
  subscriptions_.add("x", {{"two", http_.url("/two")}});
  const auto server = makeServer();
  RecordingSubscriber subscriber;
  for (int i = 0; i < 2; ++i) server->AttachSubscriber(&subscriber);
  NewsServer::WaitForPulls(-1);
  const std::string begin = "1 | 12 category:x | 10 | 11", end = " | 13 | 3";
  const std::string first = " | 2 two: OK, 2 items, 2 new", second = " | 2 two: OK, 2 items, 0 new";
  // Attached twice it gets each object twice, unless its first pull was faster than the second attach.
  EXPECT_THAT(subscriber.events(), testing::AnyOf(begin + first + end + " | " + begin + second + second + end,
                                                  begin + first + first + end + " | " + begin + second + second + end));
  EXPECT_EQ(subscriber.news().size(), 2u);
  for (int i = 0; i < 2; ++i) server->DetachSubscriber(&subscriber);
}

TEST_P(Pull, StoresTheFeedsOfADetachedSubscriber) {
  subscriptions_.add("x", {{"two", http_.url("/two")}});
  const auto server = makeServer();
  RecordingSubscriber* self = nullptr;
  RecordingSubscriber subscriber([&](const std::string&) { server->DetachSubscriber(self); });
  self = &subscriber;
  pull(*server, subscriber);
  EXPECT_NE(base_.read("cache/two"), "");
}

TEST_P(Pull, GoesOnWithTheArrayItBeganWith) {
  subscriptions_.add("a", {}).add("b", {}).add("c", {});
  Subscriptions other;
  other.add("other", {}).add("other", {}).add("other", {}).add("other", {});
  RSSObject::CategoryHolderStruct fewer = subscriptions_.holder();
  fewer.categoryCount = 2;
  const std::string three = "1 | 12 category:a | 13 | 12 category:b | 13 | 12 category:c | 13 | 3";
  const std::pair<RSSObject::CategoryHolderStruct, std::string> cases[] = {
      {fewer, "1 | 12 category:a | 13 | 12 category:b | 13 | 3"}, {other.holder(), three}, {{}, three}};
  for (const auto& [set, events] : cases) {
    const auto server = makeServer();
    RecordingSubscriber subscriber([&, &given = set](const std::string& line) {
      if (line == "12 category:a") server->SetCategories(given);
    });
    EXPECT_EQ(pull(*server, subscriber), events) << set.categoryCount;
  }
}

TEST_P(Pull, OfAnyServerUsesWhatTheNewestWasGiven) {
  subscriptions_.add("first", {{"two", http_.url("/two")}});
  Subscriptions second;
  second.add("second", {{"two", http_.url("/two")}});
  const TemporaryBaseFolder secondBase;
  const auto older = makeServer();
  const auto newer = makeServer(second, secondBase);
  EXPECT_NE(older, newer);
  RecordingSubscriber subscriber;
  EXPECT_THAT(pull(*older, subscriber), StartsWith("1 | 12 category:second | "));
  EXPECT_EQ(base_.read("cache/two"), "");
  EXPECT_NE(secondBase.read("cache/two"), "");
}

TEST_P(Pull, IsWaitedForFromItsRequestOnAndNoLongerThanAsked) {
  EXPECT_TRUE(NewsServer::WaitForPulls(0));
  const auto server = makeServer();
  std::mutex gate;
  gate.lock();
  RecordingSubscriber subscriber([&](const std::string&) { std::lock_guard wait(gate); });
  server->RefreshAllNewsForSubscriber(&subscriber);
  EXPECT_FALSE(NewsServer::WaitForPulls(0));
  EXPECT_FALSE(NewsServer::WaitForPulls(20));
  gate.unlock();
  EXPECT_TRUE(NewsServer::WaitForPulls(60'000));
  EXPECT_EQ(subscriber.events(), "1 | 3");
}

TEST_P(Pull, KeepsTheProfileThatItBeganWith) {
  const auto server = makeServer();
  subscriptions_.add("a", {{"1", http_.url("/feed")}, {"2", http_.url("/feed")}});
  http_.serve("/feed", kTwoItems);
  server->SetCategories(subscriptions_.holder());
  const auto modernFeeds = [&](Profile next) {
    RecordingSubscriber subscriber([&](const std::string& line) {
      if (line != "1") SetProfile(next);
    });
    pull(*server, subscriber);
    return std::ranges::count_if(subscriber.news(), [](const auto& feed) { return feed->GetDetails() != nullptr; });
  };
  EXPECT_EQ(modernFeeds(Profile::Modern), 0);
  EXPECT_EQ(modernFeeds(Profile::Classic), 2);
  EXPECT_EQ(modernFeeds(Profile::Classic), 0);
}

INSTANTIATE_TEST_SUITE_P(OneAtATimeAndAhead, Pull, testing::Values(1, 8), testing::PrintToStringParamName());

TEST(Delivery, PassesTheSameObjectToEveryEntryOfTheSubscriber) {
  struct Server : NewsServer {
    using NewsServer::NewsServer;
    using NewsServer::NotifySubscriber;
    using NewsServer::NotifySubscribers;
  };
  Server server({}, "");
  RecordingSubscriber first, second;
  for (RecordingSubscriber* subscriber : {&first, &second, &first}) server.AttachSubscriber(subscriber);
  NewsServer::WaitForPulls(-1);
  first.takeEvents(), second.takeEvents();
  auto* const feed = new RSSObject({}, nullptr, 0);
  const std::string once = "2 : , 0 items, 0 new";
  Server::NotifySubscriber(&first, feed);
  EXPECT_EQ(first.takeEvents() + "; " + second.events(), once + " | " + once + "; ");
  server.DetachSubscriber(&first);
  Server::NotifySubscriber(&first, feed);
  server.NotifySubscribers(new RSSObject({}, nullptr, 0));
  EXPECT_EQ(first.events() + "; " + second.events(), "; " + once);
  server.DetachSubscriber(&second);
}

}  // namespace
