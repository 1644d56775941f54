#include "framework/base/comm.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace {

// Puts signal and limit back as they were.
class CommTest : public ::testing::Test {
 protected:
  CommTest() {
    ::getrlimit(RLIMIT_NOFILE, &_limit);
    _handler = std::signal(SIGPIPE, SIG_DFL);
  }
  ~CommTest() override {
    ::setrlimit(RLIMIT_NOFILE, &_limit);
    (void)std::signal(SIGPIPE, _handler);
  }

  rlimit _limit{};
  void (*_handler)(int) = SIG_DFL;
};

TEST_F(CommTest, AWriteToAClosedConnectionIsNoSignal) {
  EXPECT_EQ(comm_init(), 0);
  EXPECT_EQ(std::signal(SIGPIPE, SIG_IGN), SIG_IGN);
}

TEST_F(CommTest, TheDescriptorLimitIsRaisedAsFarAsAllowed) {
  rlimit low = _limit;
  low.rlim_cur = 64;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  comm_init();
  rlimit now{};
  ::getrlimit(RLIMIT_NOFILE, &now);
  EXPECT_EQ(now.rlim_cur, std::min<rlim_t>(_limit.rlim_max, 65536));
}

TEST_F(CommTest, AHigherLimitIsNotLowered) {
  comm_init();
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  comm_init();
  rlimit after{};
  ::getrlimit(RLIMIT_NOFILE, &after);
  EXPECT_EQ(after.rlim_cur, before.rlim_cur);
}

TEST_F(CommTest, BothCallsMayBeRepeatedInAnyOrder) {
  EXPECT_EQ(comm_exit(), 0);
  EXPECT_EQ(comm_init(), 0);
  EXPECT_EQ(comm_init(), 0);
  EXPECT_EQ(comm_exit(), 0);
  EXPECT_EQ(comm_exit(), 0);
  EXPECT_EQ(comm_init(), 0);
}

}  // namespace
