#include <gtest/gtest.h>

#include <memory>

#include "engine/EngineState.h"
#include "net/FetchState.h"
#include "opml/OPMLState.h"
#include "platform/ModuleEntry.h"
#include "quillmoria/ConnectedState.h"
#include "quillmoria/OPML.h"
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
  /// How many of the three module objects there are.
  static int built() { return !!fetchState + !!opmlState + !!engineState; }

  int instance_ = 0;
};

TEST_F(ModuleEntry, BuildsTheModuleObjectsOnceAndDestroysThem) {
  EXPECT_EQ(built(), 0);
  EXPECT_TRUE(loadModule(&instance_));
  EXPECT_TRUE(enter(DLL_THREAD_ATTACH) && enter(DLL_THREAD_DETACH));
  EXPECT_FALSE(enter(DLL_PROCESS_ATTACH));
  EXPECT_TRUE(enter(DLL_PROCESS_DETACH) && enter(DLL_PROCESS_ATTACH));
  EXPECT_EQ(built(), 3);
  unloadModule(&instance_);
  EXPECT_EQ(built(), 0);
}

TEST_F(ModuleEntry, ThatRefusesTheLoadLeavesAnInertEngine) {
  EXPECT_FALSE(loadModule(nullptr));
  EXPECT_EQ(built(), 0);

  SetConnectedState(ConnectedState::Connected);
  RecordingSubscriber subscriber;
  const std::unique_ptr<NewsServer> server(NewsServerFactory::GetFactory()->GetNewsServer({}, "base"));
  server->AttachSubscriber(&subscriber);
  server->SetCategories({});
  server->TerminateNewsPullThread(&subscriber);
  server->DetachSubscriber(&subscriber);
  EXPECT_TRUE(NewsServer::WaitForPulls(-1));
  EXPECT_EQ(subscriber.events(), "");

  RSSObject::NewsFeed feed;
  feed.url = "http://127.0.0.1:1/";
  EXPECT_EQ(RSSObject(feed, "", "base").itemCount, -1);
  OPMLParser parser("base");
  parser.ParseFromURL("http://127.0.0.1:1/");
  EXPECT_NE(parser.status, "OK");
}

}  // namespace
