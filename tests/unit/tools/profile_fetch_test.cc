#include "tools/profile_fetch.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

#include "tests/unit/tools/fake_sender.h"
#include "tests/unit/tools/manual_kernel.h"

namespace {

using std::chrono_literals::operator""ms;

class ProfileFetchTest : public testing::Test {
 protected:
  void start() {
    fetch.emplace(loop, commands, sender,
                  ProfileFetch::Request{"policy", "p1", "profile-client-7-0a", 500ms}, out, err);
    fetch->start();
  }
  void start_and_ask() {
    start();
    sender.answer(XrlError::OKAY());
  }
  // The answer to what a target sends to the fetch.
  XrlError tell(const char* method, std::string_view text) {
    ByteBuffer bytes;
    ByteBuffer results;
    XrlArgsWriter writer(bytes);
    for (const XrlAtom& atom : XrlArgs::parse(text)) writer.atom(atom);
    XrlArgsReader in(bytes.bytes());
    XrlArgsWriter out_args(results);
    const XrlCmdMap::Command* command = commands.find(method);
    return command->handler(command->target, in, out_args).error();
  }
  XrlError log(std::string_view text) { return tell("profile_client/0.1/log", text); }
  XrlError finished(std::string_view variable = "p1") {
    return tell("profile_client/0.1/finished", "pname:txt=" + std::string(variable));
  }

  ManualKernel kernel;
  NoNetwork network;
  EventLoop loop{kernel, network};
  FakeSender sender;
  XrlCmdMap commands{"profile-client-7"};
  std::ostringstream out;
  std::ostringstream err;
  std::optional<ProfileFetch> fetch;
};

TEST_F(ProfileFetchTest, EnablesTheVariableAndThenAsksForItsLog) {
  start();
  ASSERT_EQ(sender.size(), 1U);
  EXPECT_EQ(sender.request(), "finder://policy/profile/0.1/enable?pname:txt=p1");
  sender.answer(XrlError::OKAY());
  ASSERT_EQ(sender.size(), 1U);
  EXPECT_EQ(sender.request(),
            "finder://policy/profile/0.1/get_entries?pname:txt=p1&instance_name:txt="
            "profile-client-7-0a");
}

TEST_F(ProfileFetchTest, WritesEachEntryOnALineAndEndsWithTheLast) {
  start_and_ask();
  sender.answer(XrlError::OKAY());
  EXPECT_TRUE(log("pname:txt=p1&sec:u32=1767225600&usec:u32=250&text:txt=first").is_okay());
  EXPECT_TRUE(log("pname:txt=p1&sec:u32=4294967295&usec:u32=999999&text:txt=b%0Ac").is_okay());
  EXPECT_FALSE(fetch->is_done());
  EXPECT_TRUE(finished().is_okay());
  EXPECT_TRUE(fetch->is_done());
  EXPECT_FALSE(fetch->failed());
  EXPECT_EQ(out.str(), "1767225600.000250 first\n4294967295.999999 b c\n");
  EXPECT_EQ(err.str(), "");
}

TEST_F(ProfileFetchTest, AnEmptyLogIsNoFault) {
  start_and_ask();
  sender.answer(XrlError::OKAY());
  EXPECT_TRUE(finished().is_okay());
  EXPECT_TRUE(fetch->is_done());
  EXPECT_FALSE(fetch->failed());
  EXPECT_EQ(out.str() + err.str(), "");
}

// They come over another connection than the answer.
TEST_F(ProfileFetchTest, EntriesMayOvertakeTheAnswerThatPromisesThem) {
  start_and_ask();
  EXPECT_TRUE(log("pname:txt=p1&sec:u32=1&usec:u32=2&text:txt=early").is_okay());
  EXPECT_TRUE(finished().is_okay());
  EXPECT_FALSE(fetch->is_done());
  sender.answer(XrlError::OKAY());
  EXPECT_TRUE(fetch->is_done());
  EXPECT_EQ(out.str(), "1.000002 early\n");
}

TEST_F(ProfileFetchTest, ARefusalIsWrittenAsItIs) {
  start();
  sender.answer(XrlError::COMMAND_FAILED("The profile variable p1 does not exist."));
  EXPECT_TRUE(fetch->failed());
  EXPECT_EQ(err.str(), "call_xrl: COMMAND_FAILED The profile variable p1 does not exist.\n");
  EXPECT_EQ(sender.size(), 0U);
}

TEST_F(ProfileFetchTest, ALogThatAnotherReaderHoldsIsRefused) {
  start_and_ask();
  sender.answer(XrlError::COMMAND_FAILED("The profile variable p1 is locked."));
  EXPECT_TRUE(fetch->failed());
  EXPECT_EQ(err.str(), "call_xrl: COMMAND_FAILED The profile variable p1 is locked.\n");
}

TEST_F(ProfileFetchTest, ATargetThatIsNotThereIsAnError) {
  start();
  sender.answer(XrlError::RESOLVE_FAILED("no target 'policy' is registered."));
  EXPECT_TRUE(fetch->failed());
  EXPECT_EQ(err.str(), "call_xrl: RESOLVE_FAILED no target 'policy' is registered.\n");
}

TEST_F(ProfileFetchTest, SilenceIsAnErrorOncePatienceIsOver) {
  start_and_ask();
  sender.answer(XrlError::OKAY());
  (void)log("pname:txt=p1&sec:u32=1&usec:u32=0&text:txt=a");
  while (!fetch->is_done()) loop.run();
  EXPECT_TRUE(fetch->failed());
  EXPECT_EQ(kernel.now(), TimePoint() + 500ms);
  EXPECT_EQ(out.str(), "1.000000 a\n");
  EXPECT_EQ(err.str(), "call_xrl: REPLY_TIMED_OUT nothing more was heard of p1.\n");
}

TEST_F(ProfileFetchTest, PatienceBeginsAnewWithEachEntry) {
  start_and_ask();
  sender.answer(XrlError::OKAY());
  Timer entry(loop, [this] { (void)log("pname:txt=p1&sec:u32=1&usec:u32=0&text:txt=a"); });
  entry.schedule_after(400ms);
  while (!fetch->is_done()) loop.run();
  EXPECT_EQ(kernel.now(), TimePoint() + 900ms);
}

TEST_F(ProfileFetchTest, AnAnswerThatComesTooLateIsIgnored) {
  start();
  while (!fetch->is_done()) loop.run();
  sender.answer(XrlError::OKAY());
  EXPECT_EQ(sender.size(), 0U);
  EXPECT_EQ(err.str(), "call_xrl: REPLY_TIMED_OUT nothing more was heard of p1.\n");
}

TEST_F(ProfileFetchTest, ALogThatWasNotAskedForIsRefused) {
  start();
  const std::string refusal = "102 COMMAND_FAILED this log was not asked for.";
  EXPECT_EQ(log("pname:txt=p1&sec:u32=1&usec:u32=0&text:txt=a").str(), refusal);
  sender.answer(XrlError::OKAY());
  EXPECT_EQ(log("pname:txt=p2&sec:u32=1&usec:u32=0&text:txt=a").str(), refusal);
  EXPECT_EQ(finished("p2").str(), refusal);
  EXPECT_TRUE(finished().is_okay());
  EXPECT_EQ(log("pname:txt=p1&sec:u32=1&usec:u32=0&text:txt=a").str(), refusal);
  EXPECT_EQ(finished().str(), refusal);
  EXPECT_EQ(out.str(), "");
}

TEST_F(ProfileFetchTest, ARequestThatCannotBeQueuedIsAnError) {
  sender.room = 0;
  start();
  EXPECT_TRUE(fetch->failed());
  EXPECT_EQ(err.str(), "call_xrl: SEND_FAILED the request could not be queued.\n");
}

TEST_F(ProfileFetchTest, ALogThatCannotBeAskedForIsAnError) {
  start();
  sender.room = 0;
  sender.answer(XrlError::OKAY());
  EXPECT_TRUE(fetch->failed());
  EXPECT_EQ(err.str(), "call_xrl: SEND_FAILED the request could not be queued.\n");
}

}  // namespace
