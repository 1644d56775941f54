#include "framework/base/epoll_kernel.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>

namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::nanoseconds;

// With a connected pair of stream sockets.
class EpollKernelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, _pair.data()), 0);
  }
  void TearDown() override {
    for (const int fd : _pair) {
      if (fd >= 0) ::close(fd);
    }
  }
  void close_other() { ::close(std::exchange(_pair[1], -1)); }

  // What the kernel says of the first socket without sleeping.
  IoInterest ready_now() {
    const std::size_t count = _kernel.wait(Kernel::AT_ONCE, _ready);
    if (count == 0) return IoInterest::NONE;
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(_ready[0].fd, _pair[0]);
    return _ready[0].ready;
  }

  EpollKernel _kernel;
  std::array<int, 2> _pair{-1, -1};
  std::array<IoReady, 8> _ready{};
};

TEST_F(EpollKernelTest, ReportsWhatADescriptorIsWatchedFor) {
  _kernel.watch(_pair[0], IoInterest::READ);
  EXPECT_EQ(ready_now(), IoInterest::NONE);
  ASSERT_EQ(::write(_pair[1], "x", 1), 1);
  EXPECT_EQ(ready_now(), IoInterest::READ);
  _kernel.watch(_pair[0], IoInterest::READ_WRITE);
  EXPECT_EQ(ready_now(), IoInterest::READ_WRITE);
  _kernel.watch(_pair[0], IoInterest::WRITE);
  EXPECT_EQ(ready_now(), IoInterest::WRITE);
  _kernel.watch(_pair[0], IoInterest::NONE);
  EXPECT_EQ(ready_now(), IoInterest::NONE);
}

TEST_F(EpollKernelTest, AHangUpMakesReadyForWhatIsWatched) {
  close_other();
  _kernel.watch(_pair[0], IoInterest::READ);
  EXPECT_EQ(ready_now(), IoInterest::READ);
  _kernel.watch(_pair[0], IoInterest::WRITE);
  EXPECT_EQ(ready_now(), IoInterest::WRITE);
  _kernel.watch(_pair[0], IoInterest::NONE);
  EXPECT_EQ(ready_now(), IoInterest::NONE);
}

// The reading end of a pipe that nobody writes any more has only hung up.
TEST_F(EpollKernelTest, ADescriptorThatHungUpIsReadyThoughItCanNeitherBeReadNorWritten) {
  close_other();
  ::close(_pair[0]);
  ASSERT_EQ(::pipe(_pair.data()), 0);
  close_other();
  for (const IoInterest interest : {IoInterest::READ, IoInterest::WRITE, IoInterest::READ_WRITE}) {
    _kernel.watch(_pair[0], interest);
    EXPECT_EQ(ready_now(), interest);
  }
}

TEST_F(EpollKernelTest, StopsAtTheRoomThereIs) {
  _kernel.watch(_pair[0], IoInterest::WRITE);
  _kernel.watch(_pair[1], IoInterest::WRITE);
  EXPECT_EQ(_kernel.wait(Kernel::AT_ONCE, std::span(_ready).first(1)), 1U);
  EXPECT_EQ(_kernel.wait(Kernel::AT_ONCE, _ready), 2U);
}

TEST_F(EpollKernelTest, SleepsAtLeastAsLongAsAsked) {
  const TimePoint until = _kernel.now() + microseconds(1500);
  EXPECT_EQ(_kernel.wait(until, _ready), 0U);
  EXPECT_GE(_kernel.now(), until);
}

TEST_F(EpollKernelTest, SleepsOnWhereAnEarlierSleepWasToEnd) {
  const TimePoint earlier = _kernel.now() + microseconds(1500);
  const TimePoint until = earlier + microseconds(1500);
  _kernel.watch(_pair[0], IoInterest::WRITE);
  EXPECT_EQ(_kernel.wait(earlier, _ready), 1U);
  _kernel.watch(_pair[0], IoInterest::NONE);
  EXPECT_EQ(_kernel.wait(until, _ready), 0U);
  EXPECT_GE(_kernel.now(), until);
}

TEST_F(EpollKernelTest, SleepsLessAfterASleepThatWasToBeLonger) {
  const TimePoint begin = _kernel.now();
  _kernel.watch(_pair[0], IoInterest::WRITE);
  EXPECT_EQ(_kernel.wait(begin + hours(1), _ready), 1U);
  _kernel.watch(_pair[0], IoInterest::NONE);
  EXPECT_EQ(_kernel.wait(begin + microseconds(1500), _ready), 0U);
  EXPECT_LT(_kernel.now(), begin + hours(1));
}

TEST_F(EpollKernelTest, DoesNotSleepWhenTheTimeHasCome) {
  EXPECT_EQ(_kernel.wait(_kernel.now(), _ready), 0U);
  EXPECT_EQ(_kernel.wait(TimePoint(), _ready), 0U);
  // Come since the clock was last read.
  const TimePoint soon = _kernel.now() + nanoseconds(1);
  EpollKernel other;
  while (other.now() < soon) {
  }
  EXPECT_EQ(_kernel.wait(soon, _ready), 0U);
}

TEST_F(EpollKernelTest, DoesNotSleepOnceSomethingIsReady) {
  _kernel.watch(_pair[0], IoInterest::WRITE);
  EXPECT_EQ(_kernel.wait(Kernel::NEVER, _ready), 1U);
  EXPECT_EQ(_kernel.wait(_kernel.now() + hours(1), _ready), 1U);
}

TEST_F(EpollKernelTest, ARegularFileIsAlwaysReady) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  const int fd = ::fileno(file.get());
  _kernel.watch(fd, IoInterest::READ);
  ASSERT_EQ(_kernel.wait(Kernel::NEVER, _ready), 1U);
  EXPECT_EQ(_ready[0].fd, fd);
  EXPECT_EQ(_ready[0].ready, IoInterest::READ);
  _kernel.watch(fd, IoInterest::READ_WRITE);
  ASSERT_EQ(_kernel.wait(Kernel::NEVER, _ready), 1U);
  EXPECT_EQ(_ready[0].ready, IoInterest::READ_WRITE);
  _kernel.watch(fd, IoInterest::NONE);
  EXPECT_EQ(_kernel.wait(Kernel::AT_ONCE, _ready), 0U);
}

TEST_F(EpollKernelTest, RegularFilesStopAtTheRoomThereIsToo) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> other(std::tmpfile(), std::fclose);
  _kernel.watch(::fileno(file.get()), IoInterest::READ);
  _kernel.watch(::fileno(other.get()), IoInterest::READ);
  EXPECT_EQ(_kernel.wait(Kernel::NEVER, std::span(_ready).first(1)), 1U);
  EXPECT_EQ(_kernel.wait(Kernel::NEVER, _ready), 2U);
}

TEST_F(EpollKernelTest, ToldTheSameAgainItGoesOnWatching) {
  _kernel.watch(_pair[0], IoInterest::WRITE);
  _kernel.watch(_pair[0], IoInterest::WRITE);
  EXPECT_EQ(ready_now(), IoInterest::WRITE);
}

TEST_F(EpollKernelTest, ADescriptorThatIsNotOpenIsAMistake) {
  const int fd = std::exchange(_pair[1], -1);
  ::close(fd);
  EXPECT_DEATH(_kernel.watch(fd, IoInterest::READ), "Bad file descriptor");
}

TEST(EpollKernel, TheClockNeverGoesBack) {
  EpollKernel kernel;
  TimePoint last = kernel.now();
  for (int i = 0; i < 1000; ++i) {
    const TimePoint now = kernel.now();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(EpollKernel, LeavesNoDescriptorOpen) {
  const auto next_descriptors = [] {
    std::array<int, 4> next{};
    for (int& fd : next) fd = ::dup(STDERR_FILENO);
    for (const int fd : next) ::close(fd);
    return next;
  };
  const auto before = next_descriptors();
  { const EpollKernel kernel; }
  EXPECT_EQ(next_descriptors(), before);
}

TEST(EpollKernel, RandomBytesDiffer) {
  EpollKernel kernel;
  std::array<std::uint8_t, 32> one{};
  std::array<std::uint8_t, 32> two{};
  kernel.random_bytes(one);
  kernel.random_bytes(two);
  EXPECT_NE(one, two);
}

}  // namespace
