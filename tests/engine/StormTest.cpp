#include <atomic>
#include <deque>
#include <thread>
#include <vector>

#include "engine/PullFixture.h"
#include "quillmoria/OPML.h"
#include "quillmoria/Profile.h"
#include "quillmoria/Version.h"

namespace {

using Server = std::unique_ptr<NewsServer>;

/// What all calls are made with.
struct Host {
  const std::string base, url;
  const RSSObject::CategoryHolderStruct categories;
  std::atomic<int> callsLeft = 600;  ///< within callbacks, as those of a pull may start others
  std::atomic<unsigned> next = 0;
};

class Caller : public RecordingSubscriber {
 public:
  explicit Caller(Host& storming) : RecordingSubscriber([this](const std::string&) { callBack(); }), host(storming) {}
  void callBack();

  Host& host;
};

Server newServer(const Host& host) {
  return Server(NewsServerFactory::GetFactory()->GetNewsServer(host.categories, host.base));
}

void (*const kCalls[])(Server& server, Caller& caller) = {
    [](Server& server, Caller& caller) { server->AttachSubscriber(&caller); },
    [](Server& server, Caller& caller) { server->RefreshAllNewsForSubscriber(&caller); },
    [](Server&, Caller&) { SetConnectedState(ConnectedState::Disconnected); },
    [](Server& server, Caller& caller) { server->TerminateNewsPullThread(&caller); },
    [](Server&, Caller&) { SetConnectedState(ConnectedState::Connected); },
    [](Server& server, Caller& caller) { server->SetCategories(caller.host.categories); },
    [](Server&, Caller&) { NewsServer::WaitForPulls(5); },
    [](Server& server, Caller& caller) { server = newServer(caller.host); },
    [](Server&, Caller&) { NewsServer::SetParallelFetches(1); },
    [](Server& server, Caller&) { server = std::make_unique<NewsServer>(*server); },
    [](Server& server, Caller& caller) { server->DetachSubscriber(&caller); },
    [](Server&, Caller& caller) {
      RSSObject::NewsFeed feed;
      feed.url = caller.host.url + "/feed";
      const RSSObject news(feed, "", caller.host.base), copy(news);
    },
    [](Server&, Caller&) { SetProfile(Profile::Modern); },
    [](Server&, Caller&) { NewsServer::SetParallelFetches(8, 8); },
    [](Server&, Caller& caller) {
      OPMLParser parser(caller.host.base);
      parser.ParseFromURL(caller.host.url + "/list");
      if (parser.GetOPMLDoc()) const OPMLDoc copy(*parser.GetOPMLDoc());
    },
    [](Server&, Caller&) { SetProfile(Profile::Classic); },
    [](Server&, Caller& caller) { CPicture().LoadFromURL(caller.host.url + "/logo.gif", caller.host.base); },
    [](Server&, Caller&) { EXPECT_FALSE((quillmoria::Version() + quillmoria::LibraryVersions()).empty()); },
};

void Caller::callBack() {
  if (host.callsLeft-- <= 0) return;
  Server server = newServer(host);
  kCalls[host.next++ * 7 % std::size(kCalls)](server, *this);
}

class Storm : public PullFixture {};

TEST_P(Storm, OfHostThreadsAndCallbacksLeavesTheEngineWorking) {
  http_.serve("/feed", "<rss><channel><image><url>" + http_.url("/logo.gif") +
                           "</url></image><item><link>http://example.org/</link></item></channel></rss>");
  http_.serve("/list", "<opml version=\"1.1\"><body><outline text=\"a\"/></body></opml>");
  subscriptions_.add("a", {{"1", http_.url("/feed")}, {"2", http_.url("/feed")}}).add("b", {{"3", http_.url("/feed")}});
  Host host{base_.name(), http_.url(""), subscriptions_.holder()};
  std::deque<Caller> callers;
  for (int i = 0; i < 8; ++i) callers.emplace_back(host);
  std::vector<std::jthread> threads;
  for (unsigned i = 0; i < callers.size(); ++i) {
    threads.emplace_back([&, i] {
      Server server = newServer(host);
      for (unsigned call = 0; call < 48; ++call) kCalls[(call * 7 + i) % std::size(kCalls)](server, callers[i]);
    });
  }
  threads.clear();
  EXPECT_TRUE(NewsServer::WaitForPulls(-1));

  const Server server = newServer(host);
  for (Caller& caller : callers) server->DetachSubscriber(&caller);
  SetConnectedState(ConnectedState::Connected);
  host.callsLeft = 0;
  RecordingSubscriber first, last;
  pull(*server, first);
  const std::string one = ": OK, 1 items, 0 new | ";
  for (const Profile profile : {Profile::Modern, Profile::Classic}) {
    SetProfile(profile);
    EXPECT_EQ(pull(*server, last), "1 | 12 category:a | 10 | 11 | 2 1" + one + "10 | 11 | 2 2" + one +
                                       "13 | 12 category:b | 10 | 11 | 2 3" + one + "13 | 3");
  }
}

INSTANTIATE_TEST_SUITE_P(OneAtATimeAndAhead, Storm, testing::Values(1, 8), testing::PrintToStringParamName());

}  // namespace
