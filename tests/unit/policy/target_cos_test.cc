#include "tests/unit/policy/target_fixture.h"

namespace {

using CosCommands = TargetFixture;
using SchedulingCommands = TargetFixture;
using QueueCommands = TargetFixture;

class CosMapping : public TargetFixture {
 protected:
  std::string set(const char* priorities, const char* queues) {
    return call(std::string("set_cos_mapping?priorities:list=") + priorities +
                "&queues:list=" + queues);
  }
  std::uint32_t queue_of(std::uint32_t priority) {
    std::uint32_t queue = 4711;
    (void)config().get_cos_mapping(priority, queue);
    return queue;
  }
};

TEST_F(CosCommands, TheFlagIsSetAndRead) {
  expect({{"get_cos_flag", "100 flag:bool=false"},
          {"set_cos_flag?flag:bool=true", "100 "},
          {"get_cos_flag", "100 flag:bool=true"},
          {"set_cos_flag?flag:bool=false", "100 "},
          {"get_cos_flag", "100 flag:bool=false"}});
}

TEST_F(CosCommands, APortsValueIsSetAndRead) {
  add_port(tree(), "ge1");
  expect({{"get_port_cos_value?ifname:txt=ge1", "100 value:u32=0"},
          {"set_port_cos_value?ifname:txt=ge1&value:u32=4294967295", "100 "},
          {"get_port_cos_value?ifname:txt=ge1", "100 value:u32=4294967295"},
          {"set_port_cos_value?ifname:txt=ge2&value:u32=1", "102 the interface does not exist."},
          {"get_port_cos_value?ifname:txt=ge2", "102 the interface does not exist."}});
}

TEST_F(SchedulingCommands, Mode4IsAcceptedAnd5IsNot) {
  expect({{"get_schedule_mode", "100 mode:u32=0"},
          {"set_schedule_mode?mode:u32=4", "100 "},
          {"set_schedule_mode?mode:u32=5", "101 bad mode."},
          {"set_schedule_mode?mode:u32=4294967295", "101 bad mode."},
          {"get_schedule_mode", "100 mode:u32=4"}});
}

TEST_F(SchedulingCommands, Algorithm3WithFourWeightsIsAccepted) {
  expect(
      {{"get_schedule_algorithm", "100 algorithm:u32=0&weights:list=:u32=12,:u32=8,:u32=4,:u32=1"},
       {"set_schedule_algorithm?algorithm:u32=3&"
        "weights:list=:u32=0,:u32=4294967295,:u32=2,:u32=3",
        "100 "},
       {"get_schedule_algorithm",
        "100 algorithm:u32=3&weights:list=:u32=0,:u32=4294967295,:u32=2,:u32=3"}});
}

TEST_F(SchedulingCommands, Algorithm4IsRefusedBeforeTheWeightsAreLookedAt) {
  expect({{"set_schedule_algorithm?algorithm:u32=4&weights:list=:u32=1,:u32=1,:u32=1,:u32=1",
           "101 bad algorithm."},
          {"set_schedule_algorithm?algorithm:u32=4&weights:list=:u32=1", "101 bad algorithm."}});
}

TEST_F(SchedulingCommands, AnyOtherNumberOfWeightsLeavesTheOldAlgorithm) {
  expect({{"set_schedule_algorithm?algorithm:u32=1&weights:list=:u32=1,:u32=1,:u32=1",
           "101 bad weight."},
          {"set_schedule_algorithm?algorithm:u32=1&weights:list=:u32=1,:u32=1,:u32=1,:u32=1,:u32=1",
           "101 bad weight."},
          {"set_schedule_algorithm?algorithm:u32=1&weights:list=", "101 bad weight."},
          {"get_schedule_algorithm",
           "100 algorithm:u32=0&weights:list=:u32=12,:u32=8,:u32=4,:u32=1"}});
}

TEST_F(QueueCommands, PrioritiesAreSetAndRead) {
  expect({{"set_priority_queue?priorities:list=:u32=0,:u32=7,:u32=0&queues:list=:u32=7,:u32=0,"
           ":u32=3",
           "100 "},
          {"get_priority_queue?priorities:list=:u32=7,:u32=0,:u32=5,:u32=7",
           "100 queues:list=:u32=0,:u32=3,:u32=5,:u32=0"},
          {"get_priority_queue?priorities:list=", "100 queues:list="},
          {"set_priority_queue?priorities:list=&queues:list=", "100 "}});
}

TEST_F(QueueCommands, ABadPriorityAnywhereIsRefusedAndChangesNothing) {
  expect({{"get_priority_queue?priorities:list=:u32=0,:u32=8", "101 bad priority."},
          {"set_priority_queue?priorities:list=:u32=0,:u32=8&queues:list=:u32=5,:u32=5",
           "101 bad priority and queue."},
          {"set_priority_queue?priorities:list=:u32=0,:u32=1&queues:list=:u32=5,:u32=8",
           "101 bad priority and queue."},
          {"set_priority_queue?priorities:list=:u32=0,:u32=1&queues:list=:u32=5",
           "101 bad priority and queue."},
          {"get_priority_queue?priorities:list=:u32=0,:u32=1", "100 queues:list=:u32=0,:u32=1"}});
}

TEST_F(QueueCommands, Dscp63ReadsAsQueueZeroAnd64IsRefused) {
  expect(
      {{"get_dscp_queue?dscps:list=:u32=62,:u32=63,:u32=0", "100 queues:list=:u32=7,:u32=0,:u32=0"},
       {"get_dscp_queue?dscps:list=:u32=63,:u32=64", "101 bad dscp."}});
}

TEST_F(QueueCommands, SettingADscpChangesTheCosMappingAndNotTheDscpTable) {
  expect({{"set_dscp_queue?dscps:list=:u32=10,:u32=1&queues:list=:u32=3,:u32=6", "100 "},
          {"get_dscp_queue?dscps:list=:u32=10,:u32=1", "100 queues:list=:u32=1,:u32=0"},
          {"get_cos_mapping?priorities:list=:u32=0,:u32=1,:u32=2",
           "100 queues:list=:u32=2,:u32=6,:u32=1"}});
  std::uint32_t queue = 0;
  EXPECT_EQ(config().get_cos_mapping(10, queue), 0);
  EXPECT_EQ(queue, 3U);
}

TEST_F(QueueCommands, SettingDscp63IsSkippedSilentlyAndTheOthersAreSet) {
  expect({{"set_dscp_queue?dscps:list=:u32=63,:u32=2&queues:list=:u32=3,:u32=7", "100 "},
          {"get_dscp_queue?dscps:list=:u32=63", "100 queues:list=:u32=0"},
          {"get_cos_mapping?priorities:list=:u32=2", "100 queues:list=:u32=7"}});
}

TEST_F(QueueCommands, ABadDscpAnywhereIsRefusedAndChangesNothing) {
  expect({{"set_dscp_queue?dscps:list=:u32=0,:u32=64&queues:list=:u32=5,:u32=5",
           "101 bad dscp and queue."},
          {"set_dscp_queue?dscps:list=:u32=0&queues:list=:u32=8", "101 bad dscp and queue."},
          {"set_dscp_queue?dscps:list=:u32=0&queues:list=", "101 bad dscp and queue."},
          {"get_cos_mapping?priorities:list=:u32=0", "100 queues:list=:u32=2"}});
}

TEST_F(QueueCommands, ReadingTheCosMappingRefusesPriority8) {
  expect({{"get_cos_mapping?priorities:list=:u32=0,:u32=1,:u32=2,:u32=3,:u32=4,:u32=5,:u32=6,"
           ":u32=7",
           "100 queues:list=:u32=2,:u32=0,:u32=1,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7"},
          {"get_cos_mapping?priorities:list=:u32=8", "101 bad priority."}});
}

TEST_F(QueueCommands, AKeyAbove7IsInTheMappingAndStillCannotBeRead) {
  expect({{"set_dscp_queue?dscps:list=:u32=10&queues:list=:u32=3", "100 "},
          {"get_cos_mapping?priorities:list=:u32=10", "101 bad priority."}});
}

TEST_F(CosMapping, GoesToTheLineCardOfEveryPortPairByPair) {
  add_port(tree(), "eth-0/2/9");
  add_port(tree(), "eth-0/1/4");
  EXPECT_EQ(set(":u32=0,:u32=1", ":u32=5,:u32=6"), OKAY);
  EXPECT_EQ(_router.sent(), (Texts{
                                "lcmgr021 lcmgr/0.1/set_port_cos_mapping?"
                                "unit:u32=0&slot:u32=1&port:u32=4&priority:u32=0&queue:u32=5",
                                "lcmgr021 lcmgr/0.1/set_port_cos_mapping?"
                                "unit:u32=0&slot:u32=1&port:u32=4&priority:u32=1&queue:u32=6",
                                "lcmgr022 lcmgr/0.1/set_port_cos_mapping?"
                                "unit:u32=0&slot:u32=2&port:u32=9&priority:u32=0&queue:u32=5",
                                "lcmgr022 lcmgr/0.1/set_port_cos_mapping?"
                                "unit:u32=0&slot:u32=2&port:u32=9&priority:u32=1&queue:u32=6",
                            }));
}

TEST_F(CosMapping, Slot12IsWrittenWithoutPaddingBehindTheLiteral02) {
  add_port(tree(), "3/12/1");
  EXPECT_EQ(set(":u32=0", ":u32=5"), OKAY);
  EXPECT_EQ(_router.sent(),
            (Texts{"lcmgr0212 lcmgr/0.1/set_port_cos_mapping?"
                   "unit:u32=3&slot:u32=12&port:u32=1&priority:u32=0&queue:u32=5"}));
}

TEST_F(CosMapping, AnInterfaceThatIsNoPhysicalPortAddressesSlotZero) {
  add_port(tree(), "lag1");
  EXPECT_EQ(set(":u32=0", ":u32=5"), OKAY);
  EXPECT_EQ(_router.sent(), (Texts{"lcmgr020 lcmgr/0.1/set_port_cos_mapping?"
                                   "unit:u32=0&slot:u32=0&port:u32=0&priority:u32=0&queue:u32=5"}));
}

TEST_F(CosMapping, APortWhoseCardIsNotReadyIsAddressedToo) {
  ASSERT_FALSE(add_port(tree(), "0/1/1").card_ready);
  EXPECT_EQ(set(":u32=0", ":u32=5"), OKAY);
  EXPECT_EQ(_router.sent().size(), 1U);
}

TEST_F(CosMapping, WithNoPortsNothingIsSentOrChanged) {
  EXPECT_EQ(set(":u32=0", ":u32=5"), OKAY);
  EXPECT_EQ(_router.sent(), Texts{});
  EXPECT_EQ(queue_of(0), 2U);
}

TEST_F(CosMapping, IsRefusedAsAWholeWhenAnyOfItIsOutOfRange) {
  add_port(tree(), "0/1/1");
  for (const auto& [priorities, queues] : {
           std::pair{":u32=0,:u32=1", ":u32=3"},
           std::pair{":u32=0", ":u32=3,:u32=4"},
           std::pair{":u32=0,:u32=1", ":u32=3,:u32=8"},
           std::pair{":u32=0,:u32=8", ":u32=3,:u32=4"},
           std::pair{":u32=4294967295", ":u32=3"},
       }) {
    EXPECT_EQ(set(priorities, queues), "101 bad priority and queue.");
  }
  EXPECT_EQ(_router.sent(), Texts{});
}

TEST_F(CosMapping, APairIsRecordedWhenALineCardConfirmsIt) {
  add_port(tree(), "0/1/1");
  ASSERT_EQ(set(":u32=0", ":u32=5"), OKAY);
  EXPECT_EQ(queue_of(0), 2U);
  _router.answer();
  EXPECT_EQ(queue_of(0), 5U);
  EXPECT_EQ(call("get_cos_mapping?priorities:list=:u32=0"), "100 queues:list=:u32=5");
}

TEST_F(CosMapping, AFailedReplyIsWarnedAboutAndLeavesTheMap) {
  add_port(tree(), "0/1/1");
  ASSERT_EQ(set(":u32=0", ":u32=5"), OKAY);
  LogCapture log;
  _router.answer(XrlError::REPLY_TIMED_OUT());
  const auto records = log.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, XLOG_LEVEL_WARNING);
  EXPECT_EQ(records[0].module, "POLICY");
  EXPECT_EQ(records[0].message, "failed to attempt to set cos mapping by lcmgr.");
  EXPECT_EQ(records[0].where.substr(records[0].where.find(' ')),
            " xrl_policy_target send_set_cos_mapping_to_lcmgr_cb");
  EXPECT_EQ(queue_of(0), 2U);
}

TEST_F(CosMapping, OneLineCardsConfirmationIsEnough) {
  add_port(tree(), "0/1/1");
  add_port(tree(), "0/2/1");
  ASSERT_EQ(set(":u32=0", ":u32=5"), OKAY);
  LogCapture log;
  _router.answer(XrlError::COMMAND_FAILED());
  _router.answer();
  EXPECT_EQ(log.take().size(), 1U);
  EXPECT_EQ(queue_of(0), 5U);
}

TEST_F(CosMapping, ARequestThatCannotBeQueuedEndsTheCommand) {
  add_port(tree(), "0/1/1");
  add_port(tree(), "0/2/1");
  _router.refuse_after(3);
  LogCapture log;
  EXPECT_EQ(set(":u32=0,:u32=1", ":u32=5,:u32=6"), "102 failed to set cos mapping.");
  EXPECT_EQ(_router.sent().size(), 3U);
  const auto records = log.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, XLOG_LEVEL_WARNING);
  EXPECT_EQ(records[0].message, "Failed to send xrl to lcmgr022.");
  EXPECT_EQ(records[0].where.substr(records[0].where.find(' ')),
            " xrl_policy_target policy_config_0_1_set_cos_mapping");
  EXPECT_EQ(queue_of(0), 2U);
}

TEST_F(CosMapping, RequestsThatWereSentBeforeAFailureStillCount) {
  add_port(tree(), "0/1/1");
  _router.refuse_after(1);
  LogCapture log;
  EXPECT_EQ(set(":u32=0,:u32=1", ":u32=5,:u32=6"), "102 failed to set cos mapping.");
  _router.answer();
  EXPECT_EQ(queue_of(0), 5U);
  EXPECT_EQ(queue_of(1), 0U);
}

TEST_F(CosMapping, AnEmptyListSendsNothing) {
  add_port(tree(), "0/1/1");
  EXPECT_EQ(set("", ""), OKAY);
  EXPECT_EQ(_router.sent(), Texts{});
}

}  // namespace
