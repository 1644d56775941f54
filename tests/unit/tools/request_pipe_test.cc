#include "tools/request_pipe.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "tests/unit/tools/fake_sender.h"

namespace {

class RequestPipeTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(::pipe(ends.data()), 0);
    pipe.emplace(loop, sender, ends[0], out);
  }
  void TearDown() override {
    pipe.reset();
    end_input();
    ::close(ends[0]);
  }

  void type(std::string_view text) {
    ASSERT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void end_input() {
    if (ends[1] >= 0) ::close(ends[1]);
    ends[1] = -1;
  }
  // Turns the loop until `count` requests are in flight.
  void until_in_flight(std::size_t count) {
    while (sender.size() < count) loop.run();
  }
  // A turn that finds nothing to do would sleep.
  void run_without_sleep() {
    Deferred wake(loop, [] {});
    wake.schedule();
    loop.run();
  }
  void until_done() {
    while (!pipe->is_done()) loop.run();
  }

  std::array<int, 2> ends{-1, -1};
  EventLoop loop;
  FakeSender sender;
  std::ostringstream out;
  std::optional<RequestPipe> pipe;
};

TEST_F(RequestPipeTest, TellsWhichMethodAMisspeltOneProbablyMeant) {
  type("finder://policy/policy_config/0.1/create_alc\n");
  end_input();
  until_in_flight(1);
  sender.answer(XrlError::NO_SUCH_METHOD("'policy' has no such method."));
  EXPECT_EQ(sender.request(), "finder://finder/finder/0.2/get_methods?target:txt=policy");
  sender.answer(XrlError::OKAY(), "methods:list=:txt=policy_config/0.1/create_acl");
  until_done();
  EXPECT_EQ(out.str(),
            "202 'policy_config/0.1' of 'policy' has no method 'create_alc'; "
            "is 'create_acl' meant?\n");
  EXPECT_TRUE(pipe->any_failed());
}

TEST_F(RequestPipeTest, PassesOnThatAMethodIsMissingWhenTheFinderKnowsNoMore) {
  type("finder://policy/policy_config/0.1/create_alc\n");
  end_input();
  until_in_flight(1);
  sender.room = 0;
  sender.answer(XrlError::NO_SUCH_METHOD("'policy' has no such method."));
  until_done();
  EXPECT_EQ(out.str(), "202 'policy' has no such method.\n");
}

TEST_F(RequestPipeTest, AnswersALineWithCodeAndResults) {
  type("finder://policy/policy_config/0.1/get_cos_flag\n");
  end_input();
  until_in_flight(1);
  sender.answer(XrlError::OKAY(), "flag:bool=true");
  until_done();
  EXPECT_EQ(out.str(), "100 flag:bool=true\n");
  EXPECT_FALSE(pipe->any_failed());
}

TEST_F(RequestPipeTest, AnswersALineWithCodeAndErrorText) {
  type("finder://policy/policy_config/0.1/delete_acl?acl:u32=3\n");
  end_input();
  until_in_flight(1);
  sender.answer(XrlError::COMMAND_FAILED("the acl does not exist."));
  until_done();
  EXPECT_EQ(out.str(), "102 the acl does not exist.\n");
  EXPECT_TRUE(pipe->any_failed());
}

TEST_F(RequestPipeTest, KeepsTheOrderOfTheInputWhateverTheOrderOfTheAnswers) {
  type("finder://a/b/0.1/first\nfinder://a/b/0.1/second\nfinder://a/b/0.1/third\n");
  end_input();
  until_in_flight(3);
  sender.answer(XrlError::OKAY(), "n:u32=3", 2);
  sender.answer(XrlError::OKAY(), "n:u32=2", 1);
  loop.run();
  EXPECT_EQ(out.str(), "");
  sender.answer(XrlError::OKAY(), "n:u32=1", 0);
  until_done();
  EXPECT_EQ(out.str(), "100 n:u32=1\n100 n:u32=2\n100 n:u32=3\n");
}

TEST_F(RequestPipeTest, WritesAnAnswerWhileTheInputIsStillOpen) {
  type("finder://a/b/0.1/first\n");
  until_in_flight(1);
  sender.answer(XrlError::OKAY(), "n:u32=1");
  loop.run();
  EXPECT_EQ(out.str(), "100 n:u32=1\n");
  EXPECT_FALSE(pipe->is_done());
}

TEST_F(RequestPipeTest, ALastLineWithoutLineBreakCounts) {
  type("finder://a/b/0.1/first");
  end_input();
  until_in_flight(1);
  sender.answer(XrlError::OKAY());
  until_done();
  EXPECT_EQ(out.str(), "100 \n");
}

TEST_F(RequestPipeTest, ALineThatIsNoRequestIsAnsweredBadArgsInItsPlace) {
  type("finder://a/b/0.1/first\nnonsense\nfinder://a/b/0.1/third\n");
  end_input();
  until_in_flight(2);
  sender.answer(XrlError::OKAY(), "n:u32=1");
  sender.answer(XrlError::OKAY(), "n:u32=3");
  until_done();
  std::string expected;
  try {
    (void)Xrl::parse("nonsense");
  } catch (const XrlParseError& error) {
    expected = error.str();
  }
  EXPECT_EQ(out.str(), "100 n:u32=1\n101 " + expected + "\n100 n:u32=3\n");
  EXPECT_TRUE(pipe->any_failed());
}

TEST_F(RequestPipeTest, SkipsEmptyLines) {
  type("\n\nfinder://a/b/0.1/first\n\n");
  end_input();
  until_in_flight(1);
  sender.answer(XrlError::OKAY());
  until_done();
  EXPECT_EQ(out.str(), "100 \n");
}

TEST_F(RequestPipeTest, InputWithoutRequestsIsDoneAtOnce) {
  end_input();
  until_done();
  EXPECT_EQ(out.str(), "");
}

TEST_F(RequestPipeTest, KeepsNoMoreThanTheWindowInFlight) {
  const std::string line = "finder://a/b/0.1/c\n";
  std::string many;
  constexpr std::size_t EXTRA = 10;
  for (std::size_t i = 0; i < EXTRA; ++i) many += line;
  for (std::size_t sent = 0; sent < RequestPipe::MAX_IN_FLIGHT; sent += EXTRA) {
    type(many);
    until_in_flight(std::min(sent + EXTRA, RequestPipe::MAX_IN_FLIGHT));
  }
  type(many);
  end_input();
  run_without_sleep();
  EXPECT_EQ(sender.size(), RequestPipe::MAX_IN_FLIGHT);
  std::size_t answered = 0;
  while (!pipe->is_done()) {
    while (sender.size() > 0) {
      sender.answer(XrlError::OKAY());
      ++answered;
    }
    loop.run();
  }
  EXPECT_GT(answered, RequestPipe::MAX_IN_FLIGHT);
  EXPECT_EQ(out.str().size(), answered * std::string("100 \n").size());
}

TEST_F(RequestPipeTest, MoreBadLinesThanTheWindowHoldsAreAllAnswered) {
  const std::size_t count = RequestPipe::MAX_IN_FLIGHT + 1;
  std::string lines;
  for (std::size_t i = 0; i < count; ++i) lines += "x\n";
  type(lines);
  end_input();
  until_done();
  const std::string written = out.str();
  EXPECT_EQ(static_cast<std::size_t>(std::count(written.begin(), written.end(), '\n')), count);
}

TEST_F(RequestPipeTest, WaitsForAnAnswerWhenTheSenderTakesNoMore) {
  sender.room = 1;
  type("finder://a/b/0.1/first\nfinder://a/b/0.1/second\n");
  end_input();
  until_in_flight(1);
  EXPECT_EQ(sender.request(), "finder://a/b/0.1/first");
  sender.answer(XrlError::OKAY(), "n:u32=1");
  until_in_flight(1);
  EXPECT_EQ(sender.request(), "finder://a/b/0.1/second");
  sender.answer(XrlError::OKAY(), "n:u32=2");
  until_done();
  EXPECT_EQ(out.str(), "100 n:u32=1\n100 n:u32=2\n");
}

TEST_F(RequestPipeTest, ARequestThatCanNeverBeQueuedIsAnsweredSendFailed) {
  sender.room = 0;
  type("finder://a/b/0.1/first\n");
  end_input();
  until_done();
  EXPECT_EQ(out.str(), "210 the request could not be queued.\n");
  EXPECT_TRUE(pipe->any_failed());
}

TEST_F(RequestPipeTest, ReadsNothingMoreWhileLargeAnswersWaitForAnEarlierOne) {
  type("finder://a/b/0.1/slow\n");
  until_in_flight(1);
  const std::string large = "t:txt=" + std::string(1U << 20U, 'x');
  std::size_t answered = 0;
  while (answered * large.size() < RequestPipe::MAX_HELD_BYTES) {
    type("finder://a/b/0.1/large\n");
    until_in_flight(2);
    sender.answer(XrlError::OKAY(), large, 1);
    ++answered;
  }
  type("finder://a/b/0.1/late\n");
  run_without_sleep();
  EXPECT_EQ(sender.size(), 1U);
  sender.answer(XrlError::OKAY());
  until_in_flight(1);
  EXPECT_EQ(sender.request(), "finder://a/b/0.1/late");
}

}  // namespace
