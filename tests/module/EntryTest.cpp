#include <gtest/gtest.h>

#include <memory>

#include "platform/ModuleEntry.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/OPML.h"
#include "support/LoopbackServer.h"
#include "support/RecordingSubscriber.h"

using namespace quillmoria;

namespace {

/// Unloads the module that the program itself is, and loads it again at the end.
class ModuleEntry : public testing::Test {
 protected:
  ModuleEntry() { unloadModule(&instance_); }
  ~ModuleEntry() override {
    unloadModule(&instance_);
    EXPECT_TRUE(loadModule(&instance_));
  }
  bool enter(std::uint32_t reason) { return DllMain(&instance_, reason, nullptr); }

  /// What a pull sends, a list's reading says and how many items a feed has, while a server stands ready for both.
  static std::string use() {
    LoopbackServer server;
    server.serve("/", "<rss><channel/></rss>");
    SetConnectedState(ConnectedState::Connected);
    RecordingSubscriber subscriber;
    const std::unique_ptr<NewsServer> news(NewsServerFactory::GetFactory()->GetNewsServer({}, "base"));
    news->AttachSubscriber(&subscriber);
    EXPECT_TRUE(NewsServer::WaitForPulls(-1));
    OPMLParser parser("base");
    parser.ParseFromURL(server.url("/"));
    RSSObject::NewsFeed feed;
    feed.url = server.url("/");
    return subscriber.events() + ", " + parser.status + ", " + std::to_string(RSSObject(feed, "", "base").itemCount);
  }

  int instance_ = 0;
};

constexpr char kInert[] = ", The transfer was cut off, -1";

TEST_F(ModuleEntry, OpensAndClosesTheEngineAsOftenAsItIsLoaded) {
  for (int load = 0; load < 2; ++load) {
    EXPECT_EQ(use(), kInert);
    EXPECT_TRUE(loadModule(&instance_));
    EXPECT_TRUE(enter(DLL_THREAD_ATTACH) && enter(DLL_THREAD_DETACH));
    EXPECT_FALSE(enter(DLL_PROCESS_ATTACH));
    EXPECT_TRUE(enter(DLL_PROCESS_DETACH) && enter(DLL_PROCESS_ATTACH));
    EXPECT_EQ(use(), "1 | 3, OK, 0");
    unloadModule(&instance_);
  }
}

TEST_F(ModuleEntry, ThatRefusesTheLoadLeavesAnInertEngine) {
  EXPECT_FALSE(loadModule(nullptr));
  EXPECT_EQ(use(), kInert);
}

}  // namespace
