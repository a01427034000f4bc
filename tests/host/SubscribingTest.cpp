#include "host/Subscribing.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <set>

#include "host/DemoServer.h"
#include "host/Failure.h"
#include "host/FeedTree.h"
#include "host/FeedWalk.h"
#include "host/Moves.h"
#include "host/SampleFeeds.h"
#include "host/SubscriptionFile.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/NewsArchive.h"
#include "support/RecordingSubscriber.h"
#include "support/Table.h"
#include "support/TemporaryFolder.h"

namespace quillmoria {
namespace {

constexpr const char* kUnreachable = "http://127.0.0.1:1/";

/// The parts of `text` between "; ".
std::vector<std::string> parts(const std::string& text) {
  std::vector<std::string> found;
  for (std::size_t start = 0, end = 0; end < text.size(); start = end + 2) {
    end = std::min(text.find("; ", start), text.size());
    found.push_back(text.substr(start, end - start));
  }
  return found;
}

void subscribeToAll(const std::string& feeds, const std::string& folder) {
  changeSubscriptions(folder, [&](OPMLDoc& list) {
    FeedTree tree(list);
    int number = 0;
    for (const std::string& feed : parts(feeds)) {
      const std::size_t end = feed.find(": ");
      tree.add(pathOf(feed.substr(0, end)), feed.substr(end + 2), kUnreachable + std::to_string(++number));
    }
    return true;
  });
}

void pull(const std::string& folder) {
  SetProfile(Profile::Modern);
  SetConnectedState(ConnectedState::Connected);
  Subscriptions subscriptions;
  ownFeeds(readSubscriptions(folder), subscriptions);
  RecordingSubscriber subscriber;
  const std::unique_ptr<NewsServer> server(
      NewsServerFactory::GetFactory()->GetNewsServer(subscriptions.holder(), folder));
  server->AttachSubscriber(&subscriber);
  NewsServer::WaitForPulls(-1);
}

/// The feeds that have moved, as the archive knows.
std::vector<Move> moves(const std::string& folder) {
  std::vector<Move> found;
  for (const ArchivedFeed& feed : NewsArchive(folder).Feeds()) {
    if (!feed.movedTo.empty()) found.push_back({feed.name, feed.url, feed.movedTo});
  }
  return found;
}

std::string shown(const std::string& url, const std::string& category, const std::string& name) {
  return url.substr(url.rfind('/') + 1) + ' ' + category + ": " + name;
}

std::vector<std::string> listed(const std::string& folder) {
  Subscriptions subscriptions;
  std::vector<std::string> lines;
  for (const OwnFeed& feed : ownFeeds(readSubscriptions(folder), subscriptions)) {
    lines.push_back(shown(feed.url, feed.category, feed.name));
  }
  return lines;
}

std::vector<std::string> archived(const std::string& folder) {
  std::vector<std::string> lines;
  for (const ArchivedFeed& feed : NewsArchive(folder).Feeds()) {
    lines.push_back(shown(feed.url, feed.category, feed.name));
  }
  return lines;
}

TEST(Subscription, IsChangedInTheListAndInTheArchive) {
  for (const auto& [before, number, name, category, after] : readTable<5>("host/changed-subscriptions.tsv")) {
    SCOPED_TRACE(before + " to " + after);
    const TemporaryBaseFolder folder;
    subscribeToAll(before, folder.name());
    pull(folder.name());
    try {
      changeSubscription(kUnreachable + number, name, category, folder.name());
      EXPECT_EQ(listed(folder.name()), parts(after));
      EXPECT_THAT(exportedList(folder.name()), testing::Not(testing::ContainsRegex("title=\"[^\"]*\"/>")));  // empty
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.what(), after);
    }
    EXPECT_THAT(archived(folder.name()), testing::UnorderedElementsAreArray(listed(folder.name())));
  }
}

TEST(Subscription, EndsAlsoWhereTheArchiveIsDamaged) {
  const TemporaryBaseFolder folder;
  subscribeToAll("News: T; Here: T", folder.name());
  pull(folder.name());
  unsubscribe(kUnreachable + std::string("1"), folder.name());
  EXPECT_THAT(archived(folder.name()), testing::ElementsAre("2 Here: T"));
  folder.write("archive.sqlite", std::string(5000, 'x'));
  EXPECT_THROW(unsubscribe(kUnreachable + std::string("2"), folder.name()), Failure);
  EXPECT_THAT(listed(folder.name()), testing::IsEmpty());
}

TEST(List, IsImportedFromItsText) {
  const TemporaryBaseFolder folder;
  const std::string list = exportedList(folder.name());
  EXPECT_THROW(importText(list, folder.name(), Profile::Modern), Failure);
  EXPECT_THROW(importText("<html>", folder.name(), Profile::Modern), Failure);
  std::string text = "<opml><body>";
  for (int i = 0; i < 50; ++i) text += "<outline text='A' xmlUrl='http://example.org/" + std::to_string(i) + "'/>";
  EXPECT_EQ(
      textOf(importText(text + "<outline text='B' xmlUrl='ftp://b'/></body></opml>", folder.name(), Profile::Modern)),
      "51 feeds: 50 new, 0 subscribed to already, 1 left out");
  EXPECT_EQ(importText(exportedList(folder.name()), folder.name(), Profile::Modern).known, 50U);
}

TEST(Samples, ArePulledWithItemsOfTodayAndNeverDoubled) {
  const TemporaryBaseFolder folder;
  std::size_t count = 0;
  {
    const DemoServer server;
    count = subscribeToSamples(server.address(), folder.name());
    pull(folder.name());
    followMoves(moves(folder.name()), folder.name());
    EXPECT_EQ(subscribeToSamples(server.address(), folder.name()), 0U);
    EXPECT_EQ("http://127.0.0.1:" + std::to_string(samplesPort(readSubscriptions(folder.name())).value()),
              server.address());
    EXPECT_THROW(DemoServer(*samplesPort(readSubscriptions(folder.name()))), Failure);
  }
  const std::vector<ArchivedFeed> feeds = NewsArchive(folder.name()).Feeds();
  EXPECT_EQ(feeds.size(), count);
  for (const ArchivedFeed& feed : feeds) {
    EXPECT_EQ(feed.lastStatus, "OK") << feed.name;
    EXPECT_GE(feed.itemCount, 5) << feed.name;
  }
  ItemQuery today;
  today.since = CTime(CTime::GetCurrentTime().GetTime() - 24 * 60 * 60);
  std::set<std::int64_t> fresh;
  for (const ArchivedItem& item : NewsArchive(folder.name()).Items(today).items) fresh.insert(item.feedId);
  EXPECT_EQ(fresh.size(), count);

  const DemoServer elsewhere;
  EXPECT_EQ(subscribeToSamples(elsewhere.address(), folder.name()), 0U);
  EXPECT_EQ(listed(folder.name()).size(), count);
  EXPECT_THAT(exportedList(folder.name()), testing::HasSubstr(elsewhere.url("/slow-lantern.atom")));
}

}  // namespace
}  // namespace quillmoria
