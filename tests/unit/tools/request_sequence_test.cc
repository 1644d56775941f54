#include "tools/request_sequence.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/tools/fake_sender.h"
#include "tests/unit/tools/manual_kernel.h"

namespace {

using std::chrono_literals::operator""ms;

class RequestSequenceTest : public testing::Test {
 protected:
  void start(const std::vector<std::string>& texts, Duration patience = Duration::zero()) {
    std::vector<Xrl> requests;
    requests.reserve(texts.size());
    for (const std::string& text : texts) requests.push_back(Xrl::parse(text));
    sequence.emplace(loop, sender, requests, patience, out, err);
    loop.run();
  }
  // Answers the request in flight and gives the sequence a turn.
  void answer(const XrlError& error, std::string_view results = {}) {
    sender.answer(error, results);
    loop.run();
  }

  ManualKernel kernel;
  NoNetwork network;
  EventLoop loop{kernel, network};
  FakeSender sender;
  std::ostringstream out;
  std::ostringstream err;
  std::optional<RequestSequence> sequence;
};

TEST_F(RequestSequenceTest, WritesTheResultsOfARequest) {
  start({"finder://policy/policy_config/0.1/get_cos_flag"});
  answer(XrlError::OKAY(), "flag:bool=true");
  EXPECT_EQ(out.str(), "flag:bool=true\n");
  EXPECT_EQ(err.str(), "");
  EXPECT_TRUE(sequence->is_done());
  EXPECT_FALSE(sequence->any_failed());
}

TEST_F(RequestSequenceTest, WritesNothingForAReplyWithoutResults) {
  start({"finder://policy/common/0.1/shutdown"});
  answer(XrlError::OKAY());
  EXPECT_EQ(out.str(), "");
  EXPECT_TRUE(sequence->is_done());
}

TEST_F(RequestSequenceTest, WritesAnErrorByItsName) {
  start({"finder://policy/policy_config/0.1/delete_acl?acl:u32=3"});
  answer(XrlError::COMMAND_FAILED("the acl does not exist."));
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(err.str(), "call_xrl: COMMAND_FAILED the acl does not exist.\n");
  EXPECT_TRUE(sequence->is_done());
  EXPECT_TRUE(sequence->any_failed());
}

TEST_F(RequestSequenceTest, SendsTheNextRequestOnlyOnceThePreviousOneIsAnswered) {
  start({"finder://a/b/0.1/first", "finder://a/b/0.1/second"});
  ASSERT_EQ(sender.size(), 1U);
  EXPECT_EQ(sender.request(), "finder://a/b/0.1/first");
  answer(XrlError::OKAY());
  ASSERT_EQ(sender.size(), 1U);
  EXPECT_EQ(sender.request(), "finder://a/b/0.1/second");
  EXPECT_FALSE(sequence->is_done());
}

TEST_F(RequestSequenceTest, ARefusedRequestDoesNotKeepTheNextFromBeingSent) {
  start({"finder://a/b/0.1/first", "finder://a/b/0.1/second"});
  answer(XrlError::BAD_ARGS("missing argument 'acl'."));
  answer(XrlError::OKAY(), "n:u32=1");
  EXPECT_EQ(err.str(), "call_xrl: BAD_ARGS missing argument 'acl'.\n");
  EXPECT_EQ(out.str(), "n:u32=1\n");
  EXPECT_TRUE(sequence->any_failed());
}

TEST_F(RequestSequenceTest, AsksTheFinderWhichMethodWasMeant) {
  start({"finder://policy/policy_config/0.1/create_alc"});
  answer(XrlError::NO_SUCH_METHOD("'policy' has no such method."));
  ASSERT_EQ(sender.size(), 1U);
  EXPECT_EQ(sender.request(), "finder://finder/finder/0.2/get_methods?target:txt=policy");
  answer(XrlError::OKAY(), "methods:list=:txt=policy_config/0.1/create_acl");
  EXPECT_EQ(err.str(),
            "call_xrl: NO_SUCH_METHOD 'policy_config/0.1' of 'policy' has no method 'create_alc'; "
            "is 'create_acl' meant?\n");
  EXPECT_TRUE(sequence->is_done());
}

TEST_F(RequestSequenceTest, WritesTheErrorAsItIsWhenTheFinderHasNoAdvice) {
  start({"finder://policy/policy_config/0.1/create_alc"});
  answer(XrlError::NO_SUCH_METHOD("'policy' has no such method."));
  answer(XrlError::RESOLVE_FAILED("gone."));
  EXPECT_EQ(err.str(), "call_xrl: NO_SUCH_METHOD 'policy' has no such method.\n");
}

TEST_F(RequestSequenceTest, AMissingTargetIsAnErrorAtOnceWithoutPatience) {
  start({"finder://polcy/common/0.1/get_status"});
  answer(XrlError::RESOLVE_FAILED("no target 'polcy' is registered; is 'policy' meant?"));
  EXPECT_EQ(err.str(),
            "call_xrl: RESOLVE_FAILED no target 'polcy' is registered; is 'policy' meant?\n");
  EXPECT_TRUE(sequence->is_done());
}

TEST_F(RequestSequenceTest, AMissingTargetIsAskedForAgainUntilItIsThere) {
  start({"finder://policy/common/0.1/get_status"}, 1000ms);
  answer(XrlError::RESOLVE_FAILED("not yet."));
  EXPECT_EQ(sender.size(), 1U);
  answer(XrlError::RESOLVE_FAILED("not yet."));
  answer(XrlError::OKAY(), "status:u32=3&reason:txt=ready");
  EXPECT_EQ(out.str(), "status:u32=3&reason:txt=ready\n");
  EXPECT_EQ(err.str(), "");
}

TEST_F(RequestSequenceTest, AMissingTargetIsAnErrorOncePatienceIsOver) {
  start({"finder://policy/common/0.1/get_status"}, 100ms);
  for (int asked = 0; !sequence->is_done() && asked < 10; ++asked) {
    answer(XrlError::RESOLVE_FAILED("not yet."));
  }
  EXPECT_EQ(err.str(), "call_xrl: RESOLVE_FAILED not yet.\n");
  EXPECT_EQ(kernel.now(), TimePoint() + 100ms);
}

TEST_F(RequestSequenceTest, ARequestThatCannotBeQueuedIsAnError) {
  sender.room = 0;
  start({"finder://a/b/0.1/first"});
  loop.run();
  EXPECT_EQ(err.str(), "call_xrl: SEND_FAILED the request could not be queued.\n");
  EXPECT_TRUE(sequence->is_done());
}

}  // namespace
