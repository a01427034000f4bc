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
  static bool isBuilt() { return fetchState && opmlState && engineState; }

  int instance_ = 0;
};

TEST_F(ModuleEntry, BuildsTheModuleObjectsAndDestroysThem) {
  EXPECT_FALSE(fetchState || opmlState || engineState);
  EXPECT_TRUE(loadModule(&instance_));
  EXPECT_TRUE(isBuilt());
  EXPECT_TRUE(DllMain(&instance_, DLL_THREAD_ATTACH, nullptr));
  EXPECT_TRUE(DllMain(&instance_, DLL_THREAD_DETACH, nullptr));
  EXPECT_TRUE(isBuilt());
  unloadModule(&instance_);
  EXPECT_FALSE(fetchState || opmlState || engineState);
}

TEST_F(ModuleEntry, ThatRefusesTheLoadLeavesAnInertEngine) {
  EXPECT_FALSE(loadModule(nullptr));
  EXPECT_FALSE(fetchState || opmlState || engineState);

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

TEST_F(ModuleEntry, RefusesASecondRegistration) {
  EXPECT_TRUE(loadModule(&instance_));
  EXPECT_FALSE(DllMain(&instance_, DLL_PROCESS_ATTACH, nullptr));
  EXPECT_TRUE(DllMain(&instance_, DLL_PROCESS_DETACH, nullptr));
  EXPECT_TRUE(DllMain(&instance_, DLL_PROCESS_ATTACH, nullptr));
}

}  // namespace
