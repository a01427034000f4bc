#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "quillmoria/ConnectedState.h"
#include "support/LoopbackServer.h"
#include "support/RecordingSubscriber.h"
#include "support/Subscriptions.h"
#include "support/TemporaryFolder.h"

constexpr char kEmptyFeed[] = "<rss><channel></channel></rss>";

/// Pulls over loopback into a folder of their own. The parameter is how many feeds may be fetched at once, of which
/// nothing may be noticed.
class PullFixture : public testing::TestWithParam<int> {
 protected:
  PullFixture() {
    SetConnectedState(ConnectedState::Connected);
    NewsServer::SetParallelFetches(GetParam());
  }
  ~PullFixture() override { NewsServer::WaitForPulls(-1); }

  static std::unique_ptr<NewsServer> makeServer(Subscriptions& subscriptions, const TemporaryBaseFolder& base) {
    return std::unique_ptr<NewsServer>(
        NewsServerFactory::GetFactory()->GetNewsServer(subscriptions.holder(), base.name()));
  }
  std::unique_ptr<NewsServer> makeServer() { return makeServer(subscriptions_, base_); }

  /// The events of one pull for `subscriber`, which is attached for as long as it lasts.
  static std::string pull(NewsServer& server, RecordingSubscriber& subscriber) {
    server.AttachSubscriber(&subscriber);
    EXPECT_TRUE(NewsServer::WaitForPulls(60'000));
    server.DetachSubscriber(&subscriber);
    return subscriber.takeEvents();
  }

  LoopbackServer http_;
  TemporaryBaseFolder base_;
  Subscriptions subscriptions_;
};
