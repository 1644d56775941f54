#include "tests/unit/policy/target_fixture.h"

namespace {

class ProfileCommands : public TargetFixture {
 protected:
  ProfileCommands() { _node.startup(); }
  ~ProfileCommands() override { _node.shutdown(); }

  Profile& profile() { return _node.profile(); }
  void log(const char* text, std::uint32_t seconds, std::uint32_t microseconds) {
    profile().log("policy_profile1", {seconds, microseconds}, text);
  }
  // Whether a transmission holds the log.
  bool is_locked() { return call("profile/0.1/clear?pname:txt=policy_profile1") != OKAY; }

  static constexpr const char* GET =
      "profile/0.1/get_entries?pname:txt=policy_profile1&instance_name:txt=tool-1";
  static constexpr const char* FINISHED =
      "tool-1 profile_client/0.1/finished?pname:txt=policy_profile1";
};

TEST_F(ProfileCommands, TheListTellsOfTheDaemonsTwoVariables) {
  EXPECT_EQ(
      call("profile/0.1/list"), "100 info:txt=" + [this] {
        // As the argument's value is written.
        const std::string whole = XrlAtom("info", profile().list()).str();
        return whole.substr(whole.find('=') + 1);
      }());
  EXPECT_NE(profile().list().find("policy_profile1"), std::string::npos);
  EXPECT_NE(profile().list().find("policy_profile2"), std::string::npos);
}

TEST_F(ProfileCommands, EnableAndDisableSwitchAVariable) {
  EXPECT_EQ(call("profile/0.1/enable?pname:txt=policy_profile1"), OKAY);
  EXPECT_TRUE(profile().is_enabled("policy_profile1"));
  EXPECT_FALSE(profile().is_enabled("policy_profile2"));
  EXPECT_EQ(call("profile/0.1/disable?pname:txt=policy_profile1"), OKAY);
  EXPECT_FALSE(profile().is_enabled("policy_profile1"));
}

TEST_F(ProfileCommands, AnUnknownVariableIsRefusedByAllThatNameOne) {
  const std::string refusal = "102 " + PVariableUnknown("nobody").str();
  for (const char* request : {
           "profile/0.1/enable?pname:txt=nobody",
           "profile/0.1/disable?pname:txt=nobody",
           "profile/0.1/get_entries?pname:txt=nobody&instance_name:txt=tool-1",
           "profile/0.1/clear?pname:txt=nobody",
       }) {
    EXPECT_EQ(call(request), refusal) << request;
  }
  EXPECT_EQ(_router.sent(), Texts{});
}

TEST_F(ProfileCommands, AnEmptyLogIsFinishedAtOnceAndUnlocked) {
  EXPECT_EQ(call(GET), OKAY);
  EXPECT_EQ(_router.sent(), Texts{FINISHED});
  EXPECT_FALSE(is_locked());
  _router.answer();
  EXPECT_EQ(_router.sent(), Texts{});
}

TEST_F(ProfileCommands, EntriesGoOneAtATimeAndThenTheEnd) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  log("second", 3, 999999);
  EXPECT_EQ(call(GET), OKAY);
  EXPECT_EQ(_router.sent(), (Texts{"tool-1 profile_client/0.1/log?pname:txt=policy_profile1&"
                                   "sec:u32=1&usec:u32=2&text:txt=first"}));
  _router.answer();
  EXPECT_EQ(_router.sent(), (Texts{"tool-1 profile_client/0.1/log?pname:txt=policy_profile1&"
                                   "sec:u32=3&usec:u32=999999&text:txt=second"}));
  _router.answer();
  EXPECT_EQ(_router.sent(), Texts{FINISHED});
  _router.answer();
  EXPECT_EQ(_router.sent(), Texts{});
}

TEST_F(ProfileCommands, FetchingKeepsTheEntries) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(call(GET), OKAY);
    _router.answer();
    EXPECT_EQ(_router.sent(), Texts{FINISHED});
    _router.answer();
  }
}

TEST_F(ProfileCommands, ALogThatIsBeingFetchedIsLocked) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  ASSERT_EQ(call(GET), OKAY);
  const std::string refusal = "102 " + PVariableLocked("policy_profile1").str();
  EXPECT_EQ(call(GET), refusal);
  EXPECT_EQ(call("profile/0.1/enable?pname:txt=policy_profile1"), refusal);
  EXPECT_EQ(call("profile/0.1/clear?pname:txt=policy_profile1"), refusal);
  EXPECT_EQ(call("profile/0.1/disable?pname:txt=policy_profile1"), OKAY);
  EXPECT_EQ(_router.sent().size(), 1U);
  _router.answer();
  EXPECT_FALSE(is_locked());
}

TEST_F(ProfileCommands, TheOtherVariableCanBeFetchedMeanwhile) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  ASSERT_EQ(call(GET), OKAY);
  EXPECT_EQ(call("profile/0.1/get_entries?pname:txt=policy_profile2&instance_name:txt=tool-2"),
            OKAY);
  EXPECT_EQ(_router.sent().size(), 2U);
}

TEST_F(ProfileCommands, AnEntryThatFailsEndsTheTransmissionAndUnlocks) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  log("second", 3, 4);
  ASSERT_EQ(call(GET), OKAY);
  LogCapture capture;
  _router.answer(XrlError::COMMAND_FAILED("no room."));
  const auto records = capture.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, XLOG_LEVEL_WARNING);
  EXPECT_EQ(records[0].module, "POLICY");
  EXPECT_EQ(records[0].message, "102 COMMAND_FAILED no room.");
  EXPECT_EQ(records[0].where.substr(records[0].where.find(' ')),
            " profile_transmitter transmit_callback");
  EXPECT_EQ(_router.sent(), Texts{});
  EXPECT_FALSE(is_locked());
}

TEST_F(ProfileCommands, AnEntryThatFailsIsToldOfBeforeTheLogIsUnlocked) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  ASSERT_EQ(call(GET), OKAY);
  LogCapture capture;
  bool was_locked = false;
  const int output = xlog_add_output([&](const XlogRecord&) { was_locked = is_locked(); });
  _router.answer(XrlError::COMMAND_FAILED("no room."));
  xlog_remove_output(output);
  EXPECT_EQ(capture.take().size(), 1U);
  EXPECT_TRUE(was_locked);
  EXPECT_FALSE(is_locked());
}

TEST_F(ProfileCommands, AnEntryThatCannotBeQueuedEndsTheTransmissionAndUnlocks) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  _router.refuse_after(0);
  LogCapture capture;
  EXPECT_EQ(call(GET), OKAY);
  EXPECT_EQ(capture.take_lines(), Texts{"WARNING POLICY transmit_callback: "
                                        "210 SEND_FAILED the request could not be queued"});
  EXPECT_FALSE(is_locked());
}

TEST_F(ProfileCommands, AnEntryThatRunsOutOfMemoryHalfQueuedUnlocksAndItsAnswerCountsNoMore) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  _router.fail_next();
  EXPECT_THROW(call(GET), std::bad_alloc);
  EXPECT_FALSE(is_locked());
  log("second", 3, 4);
  ASSERT_EQ(call(GET), OKAY);
  // Of the request that failed; the log is by now locked for another one.
  _router.answer(XrlError::REPLY_TIMED_OUT("no reply within 30 s"));
  EXPECT_TRUE(is_locked());
  EXPECT_EQ(_router.sent().size(), 1U);
}

TEST_F(ProfileCommands, ALaterEntryThatRunsOutOfMemoryUnlocksToo) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  log("second", 3, 4);
  ASSERT_EQ(call(GET), OKAY);
  _router.fail_next();
  EXPECT_THROW(_router.answer(), std::bad_alloc);
  EXPECT_FALSE(is_locked());
}

TEST_F(ProfileCommands, AFailedEndIsOnlyWarnedAbout) {
  ASSERT_EQ(call(GET), OKAY);
  LogCapture capture;
  _router.answer(XrlError::REPLY_TIMED_OUT("no reply within 30 s"));
  const auto records = capture.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].message, "211 REPLY_TIMED_OUT no reply within 30 s");
  EXPECT_EQ(records[0].where.substr(records[0].where.find(' ')),
            " profile_transmitter transmit_finished_callback");
  EXPECT_FALSE(is_locked());
}

TEST_F(ProfileCommands, AnEndThatCannotBeQueuedIsOnlyWarnedAbout) {
  _router.refuse_after(0);
  LogCapture capture;
  EXPECT_EQ(call(GET), OKAY);
  EXPECT_EQ(capture.take_lines(), Texts{"WARNING POLICY transmit_finished_callback: "
                                        "210 SEND_FAILED the request could not be queued"});
}

TEST_F(ProfileCommands, ClearEmptiesALog) {
  profile().enable("policy_profile1");
  log("first", 1, 2);
  EXPECT_EQ(call("profile/0.1/clear?pname:txt=policy_profile1"), OKAY);
  EXPECT_EQ(call(GET), OKAY);
  EXPECT_EQ(_router.sent(), Texts{FINISHED});
}

}  // namespace
