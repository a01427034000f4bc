#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace {

class LoadedByHand : public testing::Test {
 protected:
  LoadedByHand() {
    http_.serve("/feed", "<rss><channel><item><link>http://example.org/</link></item></channel></rss>");
  }

  /// The exit status of a host that works in `mode`.
  int run(const std::string& mode, int step = 0) const {
    // What the allocator's caches hold would count as in use.
    const EnvironmentVariable noCaches("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0");
    const std::string command = std::string(QUILLMORIA_LOADING_HOST " ") + mode + " " + QUILLMORIA_LIBRARY + " " +
                                base_.name() + " " + http_.url("/feed") + " " + std::to_string(step);
    return std::system(command.c_str());
  }

  LoopbackServer http_;
  TemporaryBaseFolder base_;
};

TEST_F(LoadedByHand, LeavesNothingBehindAHundredTimesUnused) { EXPECT_EQ(run("unused"), 0); }

TEST_F(LoadedByHand, LeavesNothingButTheFactoryBehindAHundredTimesUsed) {
  EXPECT_EQ(run("used"), 0);
  EXPECT_EQ(http_.requests().size(), 100u);
}

// A pull of one feed makes seven callbacks.
TEST_F(LoadedByHand, MayBeClosedAndMainBeLeftAtAnyStepOfAPull) {
  for (const char* mode : {"close", "leave"}) {
    for (int step = 1; step <= 7; ++step) EXPECT_EQ(run(mode, step), 0) << mode << " at callback " << step;
  }
}

}  // namespace
