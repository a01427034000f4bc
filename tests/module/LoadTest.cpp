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
  int run(const std::string& mode) const {
    // What the allocator's caches hold would count as in use.
    const EnvironmentVariable noCaches("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0");
    const std::string command = std::string(QUILLMORIA_LOADING_HOST " ") + mode + " " + QUILLMORIA_LIBRARY + " " +
                                base_.name() + " " + http_.url("/feed");
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

}  // namespace
